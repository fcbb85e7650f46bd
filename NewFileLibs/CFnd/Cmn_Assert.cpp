#include "CFnd/Cmn_Assert.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace
{

constexpr int kMaxMessageSize = 512;
constexpr std::string_view kSeparator = "@$^$@";

std::atomic<Cmn_Assert::Handler*> sHandlerP{nullptr};

// "NewFileLibs/Mdid/Mdid_Event" out of any path to Mdid_Event.cpp.
std::string_view SourceName(const char* iFile)
{
    std::string_view name = iFile;
    if (const auto root = name.rfind("NewFileLibs/"); root != std::string_view::npos)
        name.remove_prefix(root);
    return name.substr(0, name.rfind('.'));
}

} // namespace

Cmn_Assert::Handler::~Handler() = default;

void Cmn_Assert::HandleMagicAssert(bool iCondition, const char* iMessage, int iLine)
{
    if (iCondition)
        return;
    if (Handler* const handlerP = sHandlerP.load(std::memory_order_acquire))
        handlerP->Report(iMessage, iLine);
    else
        std::fprintf(stderr, "assertion failed: %s:%d\n", iMessage, iLine);
}

Cmn_Assert::Handler* Cmn_Assert::SetHandler(Handler* iHandlerP)
{
    return sHandlerP.exchange(iHandlerP, std::memory_order_acq_rel);
}

void Cmn_Assert::ReportFailure(const char* iExpression, const char* iFile, int iLine)
{
    char message[kMaxMessageSize];
    const std::string_view source = SourceName(iFile);
    const int sourceSize = static_cast<int>(source.size());
    // An expression without end is cut, and not the source behind it.
    const int expressionSize = std::max(kMaxMessageSize - 1 - static_cast<int>(kSeparator.size()) - sourceSize, 0);
    std::snprintf(message, sizeof message, "%.*s%s%.*s", expressionSize, iExpression, kSeparator.data(), sourceSize,
                  source.data());
    HandleMagicAssert(false, message, iLine);
}

Cmn_AssertException::Cmn_AssertException(const std::string& iWhat) : std::logic_error(iWhat) {}
Cmn_AssertException::~Cmn_AssertException() = default;
