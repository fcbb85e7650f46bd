#pragma once

#include "CFnd/CFnd_Export.h"
#include "CFnd/Cmn_RefCountObject.h"

#include <boost/function.hpp>

#include <compare>
#include <cstddef>
#include <memory>
#include <string_view>

// The name of a kind of message, from a string literal that no other kind has. Equal names are equal ids, whichever
// library they come from.
class Cmn_MsgId
{
public:
    template <std::size_t N>
    consteval explicit Cmn_MsgId(const char (&iName)[N]) : mName(iName, N - 1)
    {
    }

    constexpr std::string_view GetName() const { return mName; }

    constexpr auto operator<=>(const Cmn_MsgId&) const = default;

private:
    std::string_view mName;
};

// A message. What it tells beyond its kind stands in a derived class.
class CFND_EXPORT Cmn_MsgBase
{
public:
    explicit Cmn_MsgBase(Cmn_MsgId iId) : mId(iId) {}
    virtual ~Cmn_MsgBase();

    Cmn_MsgId GetId() const { return mId; }

protected:
    Cmn_MsgBase(const Cmn_MsgBase&) = default;
    Cmn_MsgBase& operator=(const Cmn_MsgBase&) = default;

private:
    Cmn_MsgId mId;
};

// The notifications of the process: a message goes at once, on the thread that posts it, to those who subscribed to its
// kind, in the order in which they did.
//
// A receiver may subscribe, unsubscribe itself or others, and post: who is unsubscribed is not called any more, who
// subscribes is not told of the message under way. What a receiver throws passes on to whoever posted; the receivers
// behind it are not told then, and everything stays usable.
//
// Threads: any but a playback one; no lock is held while a receiver is called. Unsubscribing does not wait: a post on
// another thread may still be on its way into the receiver, which then has to own what it uses.
class CFND_EXPORT Cmn_N10nCenter
{
public:
    using Receiver = boost::function<void(const Cmn_MsgBase&)>;

    // Where messages are posted.
    class CFND_EXPORT Sender : public Sys_ThreadSafeRefCountObject
    {
    public:
        // A few nanoseconds while nobody has subscribed to anything, a look-up while nobody has to this kind. Throws
        // what a receiver throws, and std::bad_alloc.
        virtual void Post(const Cmn_MsgBase& iMessage) = 0;
    };

    // Unsubscribes when it is destroyed. Default: of nothing.
    class CFND_EXPORT Subscription
    {
    public:
        Subscription() noexcept;
        Subscription(Subscription&& ioOther) noexcept;
        Subscription& operator=(Subscription&& ioOther) noexcept;
        ~Subscription();

        void Unsubscribe();
        bool IsSubscribed() const { return mEntryP != nullptr; }

    private:
        friend class Cmn_N10nCenter;
        class Entry;

        explicit Subscription(std::unique_ptr<Entry> iEntryP) noexcept;

        std::unique_ptr<Entry> mEntryP;
    };

    // Never null, and always the same; usable in static initialisation and destruction.
    static boost::intrusive_ptr<Sender> GetSender();

    // An empty receiver is reported, and the subscription is of nothing.
    [[nodiscard]] static Subscription Subscribe(Cmn_MsgId iId, Receiver iReceiver);
};
