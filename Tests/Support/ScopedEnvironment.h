#pragma once

#include <cstdlib>
#include <optional>
#include <string>

// Sets an environment variable for its scope. What is read when a library is loaded sees it only in a process that is
// started meanwhile, such as a death test of the "threadsafe" style.
class ScopedEnvironment
{
public:
    ScopedEnvironment(const char* iName, const std::string& iValue) : mName(iName)
    {
        if (const char* const previousP = std::getenv(iName))
            mPrevious = previousP;
        ::setenv(iName, iValue.c_str(), 1);
    }

    ~ScopedEnvironment()
    {
        if (mPrevious)
            ::setenv(mName, mPrevious->c_str(), 1);
        else
            ::unsetenv(mName);
    }

    ScopedEnvironment(const ScopedEnvironment&) = delete;
    ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;

private:
    const char* const mName;
    std::optional<std::string> mPrevious;
};
