#include "CFnd/Cmn_N10nCenter.h"

#include "CFnd/Cmn_Assert.h"

#include <algorithm>
#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace
{

struct Subscriber
{
    explicit Subscriber(Cmn_N10nCenter::Receiver iReceiver) : mReceiver(std::move(iReceiver)) {}

    const Cmn_N10nCenter::Receiver mReceiver;
    std::atomic<bool> mIsSubscribed{true};
};

using SubscriberList = std::vector<std::shared_ptr<Subscriber>>;

// A post calls a copy of the list of its kind, so that the list may change meanwhile.
class SubscriberTable final : public Cmn_N10nCenter::Sender
{
public:
    void Post(const Cmn_MsgBase& iMessage) override
    {
        if (mNumSubscribers.load(std::memory_order_relaxed) == 0)
            return;
        for (const auto& subscriberP : GetSubscribers(iMessage.GetId()))
            if (subscriberP->mIsSubscribed)
                subscriberP->mReceiver(iMessage);
    }

    // The list stays where it is.
    SubscriberList& Add(Cmn_MsgId iId, const std::shared_ptr<Subscriber>& iSubscriberP)
    {
        const std::lock_guard lock(mMutex);
        SubscriberList& list = mLists.try_emplace(std::string(iId.GetName())).first->second;
        list.push_back(iSubscriberP);
        ++mNumSubscribers;
        return list;
    }

    void Remove(SubscriberList& ioList, const std::shared_ptr<Subscriber>& iSubscriberP)
    {
        iSubscriberP->mIsSubscribed = false;
        const std::lock_guard lock(mMutex);
        ioList.erase(std::ranges::find(ioList, iSubscriberP));
        --mNumSubscribers;
    }

private:
    SubscriberList GetSubscribers(Cmn_MsgId iId)
    {
        const std::lock_guard lock(mMutex);
        const auto listP = mLists.find(iId.GetName());
        return listP != mLists.end() ? listP->second : SubscriberList();
    }

    std::atomic<int> mNumSubscribers{0};
    std::mutex mMutex;
    // With names of its own: the library that a name comes from may be unloaded.
    std::map<std::string, SubscriberList, std::less<>> mLists;
};

// Never destroyed: static objects may post and unsubscribe late.
SubscriberTable& GetTable()
{
    static const auto& tableP = *new boost::intrusive_ptr<SubscriberTable>(new SubscriberTable);
    return *tableP;
}

} // namespace

Cmn_MsgBase::~Cmn_MsgBase() = default;

class Cmn_N10nCenter::Subscription::Entry
{
public:
    Entry(Cmn_MsgId iId, Receiver iReceiver)
        : mSubscriberP(std::make_shared<Subscriber>(std::move(iReceiver))),
          mList(GetTable().Add(iId, mSubscriberP))
    {
    }
    ~Entry() { GetTable().Remove(mList, mSubscriberP); }
    Entry(const Entry&) = delete;
    Entry& operator=(const Entry&) = delete;

private:
    const std::shared_ptr<Subscriber> mSubscriberP;
    SubscriberList& mList;
};

Cmn_N10nCenter::Subscription::Subscription() noexcept = default;
Cmn_N10nCenter::Subscription::Subscription(std::unique_ptr<Entry> iEntryP) noexcept : mEntryP(std::move(iEntryP)) {}
Cmn_N10nCenter::Subscription::Subscription(Subscription&& ioOther) noexcept = default;
Cmn_N10nCenter::Subscription& Cmn_N10nCenter::Subscription::operator=(Subscription&& ioOther) noexcept = default;
Cmn_N10nCenter::Subscription::~Subscription() = default;

void Cmn_N10nCenter::Subscription::Unsubscribe()
{
    mEntryP.reset();
}

boost::intrusive_ptr<Cmn_N10nCenter::Sender> Cmn_N10nCenter::GetSender()
{
    return &GetTable();
}

Cmn_N10nCenter::Subscription Cmn_N10nCenter::Subscribe(Cmn_MsgId iId, Receiver iReceiver)
{
    if (!CMN_VERIFY(!iReceiver.empty()))
        return {};
    return Subscription(std::make_unique<Subscription::Entry>(iId, std::move(iReceiver)));
}
