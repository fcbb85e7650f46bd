#include "CFnd/Cmn_N10nCenter.h"

#include <gtest/gtest.h>

namespace
{

constexpr Cmn_MsgId kId{"message of this test"};
constexpr Cmn_MsgId kOtherId{"other message of this test"};

// Receivers write a letter each.
std::string sCalled;

[[nodiscard]] auto Subscribe(char iLetter, Cmn_MsgId iId = kId)
{
    return Cmn_N10nCenter::Subscribe(iId, [iLetter](const Cmn_MsgBase&) { sCalled += iLetter; });
}

std::string Post(Cmn_MsgId iId = kId)
{
    sCalled.clear();
    Cmn_N10nCenter::GetSender()->Post(Cmn_MsgBase(iId));
    return sCalled;
}

TEST(Cmn_N10nCenter, AMessageGoesToThoseWhoSubscribedToItsKindUntilOneThrows)
{
    auto a = Subscribe('a'), b = Subscribe('b'), c = Subscribe('c', kOtherId);
    auto thrower = Cmn_N10nCenter::Subscribe(kId, [](const Cmn_MsgBase&) { throw 1; });
    const auto d = Subscribe('d');
    EXPECT_THROW(Post(), int);
    EXPECT_EQ(sCalled, "ab");
    thrower = std::move(a);
    EXPECT_EQ(Post(kOtherId) + Post(), "cabd");
}

TEST(Cmn_N10nCenter, AReceiverMayChangeWhoIsCalled)
{
    Cmn_N10nCenter::Subscription once, later, added;
    const auto receiver = [&, letter = std::string("a")](const Cmn_MsgBase& iMessage)
    {
        once.Unsubscribe(); // itself, while it runs
        later.Unsubscribe();
        added = Subscribe('n');
        EXPECT_EQ(Post(iMessage.GetId()), "kn"); // posting nests
        sCalled += letter;
    };
    once = Cmn_N10nCenter::Subscribe(kId, receiver);
    later = Subscribe('l');
    const auto kept = Subscribe('k');
    EXPECT_EQ(Post(), "knak"); // the new one is not told of the message under way
    EXPECT_EQ(Post(), "kn");
}

} // namespace
