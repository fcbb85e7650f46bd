#pragma once

#include "CFnd/Cmn_Assert.h"

#include <mutex>
#include <string>
#include <utility>
#include <vector>

// Collects the assertions of its scope, on any thread, instead of printing them.
class RecordingAssertHandler : public Cmn_Assert::Handler
{
public:
    RecordingAssertHandler() : mPreviousP(Cmn_Assert::SetHandler(this)) {}
    ~RecordingAssertHandler() override { Cmn_Assert::SetHandler(mPreviousP); }
    RecordingAssertHandler(const RecordingAssertHandler&) = delete;
    RecordingAssertHandler& operator=(const RecordingAssertHandler&) = delete;

    void Report(const char* iMessage, int) override
    {
        const std::lock_guard lock(mMutex);
        mMessages.emplace_back(iMessage);
    }

    // What was reported since the last call.
    std::vector<std::string> Take()
    {
        const std::lock_guard lock(mMutex);
        return std::exchange(mMessages, {});
    }

private:
    Cmn_Assert::Handler* mPreviousP;
    std::mutex mMutex;
    std::vector<std::string> mMessages;
};
