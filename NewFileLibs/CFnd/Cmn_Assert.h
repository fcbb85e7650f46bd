#pragma once

#include "CFnd/CFnd_Export.h"

#include <stdexcept>
#include <string>

// Broken invariants, ours or a caller's: they are reported, and execution goes on with a documented fallback.
//
//     if (!CMN_VERIFY(mDataP != 0))
//         return nullptr;
//
// Only where no fallback exists does the caller throw Cmn_AssertException, after the report.
// Any thread; a report takes no memory, and no lock but the one that the handler may take.
class CFND_EXPORT Cmn_Assert
{
public:
    // Receives the reports of the process. A handler must not throw, and must stand being called on any thread.
    class CFND_EXPORT Handler
    {
    public:
        virtual ~Handler();

        // iMessage: the failed expression, "@$^$@", and the source file from "NewFileLibs/" on, without extension.
        virtual void Report(const char* iMessage, int iLine) = 0;
    };

    // Reports when iCondition is false, and returns.
    static void HandleMagicAssert(bool iCondition, const char* iMessage, int iLine);

    // Returns iCondition; when it is false, it is reported first. Called through CMN_VERIFY.
    static bool Verify(bool iCondition, const char* iExpression, const char* iFile, int iLine)
    {
        if (!iCondition) [[unlikely]]
            ReportFailure(iExpression, iFile, iLine);
        return iCondition;
    }

    // Installs a handler (not owned; it must live until it is replaced and no thread is in it) and returns the one
    // before it.
    // Null stands for the default, which prints one line to standard error.
    static Handler* SetHandler(Handler* iHandlerP);

private:
    static void ReportFailure(const char* iExpression, const char* iFile, int iLine);
};

// A contract failure that leaves the operation without any result: thrown after the report.
class CFND_EXPORT Cmn_AssertException : public std::logic_error
{
public:
    explicit Cmn_AssertException(const std::string& iWhat);
    ~Cmn_AssertException() override;
};

// True when the condition holds; otherwise reports it and is false.
#define CMN_VERIFY(iCondition) Cmn_Assert::Verify(static_cast<bool>(iCondition), #iCondition, __FILE__, __LINE__)
