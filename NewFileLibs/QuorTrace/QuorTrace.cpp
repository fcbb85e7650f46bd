// The trace module: writes one line for each call, while its facility is active. It is found by name at run time, so
// that a process without it traces nothing.
//
//   QUORTRACE_FACILITIES  the active facilities: "all", or numbers as in C (0x2000F27,67112463), separated by commas;
//                         not set: none
//   QUORTRACE_FILE        the file that lines are appended to; not set, or cannot be opened: standard error
//
// Both are read once, when the module is loaded. A line is "seconds.microseconds 0xfacility text", the time from the
// system's monotonic clock. Any thread: nothing is locked or allocated, and a line is one write.

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <limits>
#include <span>
#include <string_view>
#include <unistd.h>

#define QUORTRACE_EXPORT __attribute__((visibility("default")))

namespace
{

constexpr std::size_t kMaxFacilities = 64;
constexpr std::size_t kMaxLineLength = 1024;

class Settings
{
public:
    Settings()
    {
        if (const char* const facilitiesP = std::getenv("QUORTRACE_FACILITIES"))
            ReadFacilities(facilitiesP);
        const char* const fileP = std::getenv("QUORTRACE_FILE");
        if (fileP && (mIsAllActive || mNumFacilities > 0))
            OpenFile(fileP);
    }

    bool IsActive(int iFacility) const
    {
        const auto facilities = std::span(mFacilities).first(mNumFacilities);
        return mIsAllActive || std::ranges::find(facilities, iFacility) != facilities.end();
    }

    int GetFile() const { return mFile; }

private:
    void ReadFacilities(const char* iTextP)
    {
        mIsAllActive = std::string_view(iTextP) == "all";
        while (*iTextP && mNumFacilities < kMaxFacilities)
        {
            char* endP = nullptr;
            const long facility = std::strtol(iTextP, &endP, 0);
            const bool isNumber = endP != iTextP && (*endP == ',' || *endP == '\0');
            if (isNumber && facility >= 0 && facility <= std::numeric_limits<int>::max())
                mFacilities[mNumFacilities++] = static_cast<int>(facility);
            iTextP = endP + std::strcspn(endP, ",");
            iTextP += *iTextP == ',';
        }
    }

    void OpenFile(const char* iPathP)
    {
        const int file = open(iPathP, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
        if (file >= 0)
            mFile = file;
    }

    bool mIsAllActive = false;
    std::array<int, kMaxFacilities> mFacilities{};
    std::size_t mNumFacilities = 0;
    int mFile = STDERR_FILENO;
};

const Settings sSettings;

// What a snprintf with this result has put into a buffer of that size.
std::size_t LengthWritten(int iResult, std::size_t iSize)
{
    return iResult < 0 ? 0 : std::min(static_cast<std::size_t>(iResult), iSize - 1);
}

std::size_t WriteFront(std::span<char> oBuffer, int iFacility)
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const int result = std::snprintf(oBuffer.data(), oBuffer.size(), "%lld.%06ld 0x%X ",
                                     static_cast<long long>(now.tv_sec), now.tv_nsec / 1000, unsigned(iFacility));
    return LengthWritten(result, oBuffer.size());
}

} // namespace

extern "C" QUORTRACE_EXPORT int QuorTraceIsActiveFunc(int iFacility)
{
    return sSettings.IsActive(iFacility);
}

// A text that is too long is cut. Control characters become spaces, so that a call is a line whatever it says.
extern "C" QUORTRACE_EXPORT __attribute__((format(printf, 2, 3))) void QuorTraceFormat(int iFacility,
                                                                                       const char* iFormat, ...)
{
    if (!sSettings.IsActive(iFacility))
        return;

    const int callersError = errno;
    std::array<char, kMaxLineLength> line;
    const std::size_t front = WriteFront(line, iFacility);

    std::va_list arguments;
    va_start(arguments, iFormat);
    const auto text = std::span(line).subspan(front);
    const std::size_t length = LengthWritten(std::vsnprintf(text.data(), text.size(), iFormat, arguments), text.size());
    va_end(arguments);

    const auto isControl = [](unsigned char c) { return c < 0x20 || c == 0x7F; };
    std::ranges::replace_if(text.first(length), isControl, ' ');
    text[length] = '\n';
    while (write(sSettings.GetFile(), line.data(), front + length + 1) < 0 && errno == EINTR)
        ;
    errno = callersError;
}
