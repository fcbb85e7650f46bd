#include "CFnd/Cmn_XMLNode.h"

#include "Support/RecordingAssertHandler.h"

#include <gtest/gtest.h>

namespace
{

TEST(Cmn_XMLNode, ATreeIsWrittenOneElementALine)
{
    const auto rootP = Cmn_CreateXMLNode("Note");
    rootP->AddChild(Cmn_CreateXMLNode("nPitch", static_cast<signed char>(-60))); // a number, and no character
    rootP->AddChild(Cmn_CreateXMLNode("Time", "late"));                          // a text, and no bool
    rootP->GetChildren()[1]->AddChild(Cmn_CreateXMLNode("nCount", INT64_MIN));
    rootP->AddChild(Cmn_CreateXMLNode("Empty", std::string()));
    EXPECT_EQ(rootP->AsText(), "<Note>\n  <nPitch>-60</nPitch>\n"
                               "  <Time>late\n    <nCount>-9223372036854775808</nCount>\n  </Time>\n"
                               "  <Empty/>\n</Note>\n");
    EXPECT_TRUE(rootP->FindChild("Empty") == rootP->GetChildren()[2] && !rootP->FindChild("nCount"));
}

TEST(Cmn_XMLNode, AnyNameAndTextIsWellFormed)
{
    const std::tuple<const char*, std::string, const char*> kCases[] = {
        {"a", "<&>\"]]>\t\n", "<a>&lt;&amp;&gt;\"]]&gt;\t\n</a>\n"},
        {"9-b.c", std::string("\0\x1f", 2),
         "<_9-b.c>\uFFFD\uFFFD</_9-b.c>\n"},                                   // no reference to them is allowed either
        {"x><y:é", "\U0001F3B9\xC3", "<x__y___>\U0001F3B9\uFFFD</x__y___>\n"}, // cut short
        {"", "\xEF\xBF\xBE\xC0\xAF", "<_>\uFFFD\uFFFD\uFFFD</_>\n"},           // U+FFFE, and an overlong form
    };
    for (const auto& [name, value, text] : kCases)
        EXPECT_EQ(Cmn_CreateXMLNode(name, value)->AsText(), text);
}

TEST(Cmn_XMLNode, ATreeStaysATreeOfBoundedDepth)
{
    RecordingAssertHandler asserts;
    const auto rootP = Cmn_CreateXMLNode("root");
    auto leafP = rootP;
    for (int depth = 2; depth <= Cmn_XMLNode::kMaxDepth; ++depth, leafP = leafP->GetChildren().front())
        leafP->AddChild(Cmn_CreateXMLNode("child"));
    const auto loneP = Cmn_CreateXMLNode("lone");
    Cmn_CreateXMLNode("short-lived")->AddChild(loneP);
    EXPECT_TRUE(asserts.Take().empty());
    for (const auto& [parentP, childP] : {std::pair{leafP, loneP}, {loneP, rootP}, {loneP, loneP}, {loneP, leafP}})
        parentP->AddChild(childP); // too deep, too deep, a circle, a child of another
    EXPECT_EQ(asserts.Take().size(), 4u);
    rootP->AddChild(loneP); // free, since its parent is gone
    EXPECT_EQ(rootP->FindChild("lone"), loneP.get());
}

} // namespace
