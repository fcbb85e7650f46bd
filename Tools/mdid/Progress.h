#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

// For as long as it lives, a line on standard error that says what takes so long: after a second, and only where a
// terminal watches. The line goes with it.
class Progress
{
public:
    // iSteps: how often Advance will be called; 0: nobody knows.
    explicit Progress(const std::string& iWhat, std::size_t iSteps = 0);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void Advance() { ++mStep; }

private:
    void Show(const std::stop_token& iStop);

    const std::string mWhat;
    const std::size_t mSteps;
    std::atomic<std::size_t> mStep = 0;
    std::mutex mMutex;
    std::condition_variable_any mWakeUp;
    std::jthread mThread; // the last member: it stops before the others go
};
