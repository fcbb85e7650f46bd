#include "CFnd/Cmn_XMLNode.h"

#include "CFnd/Cmn_Assert.h"

#include <boost/locale/utf.hpp>
#include <pugixml.hpp>

#include <algorithm>
#include <new>
#include <ostream>
#include <utility>

namespace utf = boost::locale::utf;

namespace
{

constexpr const char* kReplacement = "\uFFFD";

bool IsLetter(char iChar)
{
    return (iChar >= 'A' && iChar <= 'Z') || (iChar >= 'a' && iChar <= 'z');
}

bool IsNameCharacter(char iChar)
{
    return IsLetter(iChar) || (iChar >= '0' && iChar <= '9') || iChar == '_' || iChar == '-' || iChar == '.';
}

std::string ToElementName(std::string_view iName)
{
    std::string name(iName);
    std::ranges::replace_if(
        name, [](char c) { return !IsNameCharacter(c); }, '_');
    return name.empty() || !(IsLetter(name.front()) || name.front() == '_') ? '_' + name : name;
}

// The characters that XML 1.0 allows, which leaves out the two values for what is no UTF-8.
bool IsXmlCharacter(utf::code_point iCharacter)
{
    if (iCharacter < 0x20)
        return iCharacter == '\t' || iCharacter == '\n' || iCharacter == '\r';
    return iCharacter <= 0x10FFFF && iCharacter != 0xFFFE && iCharacter != 0xFFFF;
}

std::string ToXmlCharacters(std::string_view iText)
{
    std::string text;
    text.reserve(iText.size());
    for (auto position = iText.begin(); position != iText.end();)
    {
        const auto start = position;
        const utf::code_point character = utf::utf_traits<char>::decode(position, iText.end());
        if (IsXmlCharacter(character))
            text.append(start, position);
        else
            text += kReplacement;
        if (!utf::is_valid_codepoint(character))
            position = start + 1;
    }
    return text;
}

// Writes elements one by one, so that a text takes no more memory than it is long.
class Writer
{
public:
    explicit Writer(pugi::xml_writer& ioSink) : mSink(ioSink), mText(mDocument.append_child(pugi::node_pcdata))
    {
        if (!mText)
            throw std::bad_alloc();
    }

    void WriteElement(const Cmn_XMLNode& iNode, std::size_t iLevel)
    {
        const std::string name = ToElementName(iNode.GetName());
        const std::string indent(2 * iLevel, ' ');
        if (iNode.GetValue().empty() && iNode.GetChildren().empty())
            return Write(indent + "<" + name + "/>\n");
        Write(indent + "<" + name + ">");
        WriteEscaped(iNode.GetValue());
        if (!iNode.GetChildren().empty())
        {
            Write("\n");
            for (const auto& childP : iNode.GetChildren())
                WriteElement(*childP, iLevel + 1);
            Write(indent);
        }
        Write("</" + name + ">\n");
    }

private:
    void Write(std::string_view iText) { mSink.write(iText.data(), iText.size()); }

    void WriteEscaped(const std::string& iText)
    {
        if (!mText.set_value(ToXmlCharacters(iText).c_str()))
            throw std::bad_alloc();
        mText.print(mSink, "", pugi::format_raw, pugi::encoding_utf8);
    }

    pugi::xml_writer& mSink;
    pugi::xml_document mDocument;
    pugi::xml_node mText; // holds one text at a time
};

struct StringSink final : pugi::xml_writer
{
    void write(const void* iBytes, std::size_t iCount) override
    {
        mText.append(static_cast<const char*>(iBytes), iCount);
    }
    std::string mText;
};

} // namespace

Cmn_XMLNode::Cmn_XMLNode(std::string_view iName, std::string_view iValue) : mName(iName), mValue(iValue) {}

Cmn_XMLNode::~Cmn_XMLNode()
{
    for (const Ptr& childP : mChildren)
        childP->mParentP = nullptr; // it may have other owners
}

void Cmn_XMLNode::AddChild(const Ptr& iChildP)
{
    if (!CMN_VERIFY(iChildP && !iChildP->mParentP))
        return;
    const Cmn_XMLNode* rootP = this;
    int depth = 1 + iChildP->mHeight;
    for (; rootP->mParentP; rootP = rootP->mParentP)
        ++depth;
    if (!CMN_VERIFY(rootP != iChildP && depth <= kMaxDepth))
        return;

    mChildren.push_back(iChildP);
    iChildP->mParentP = this;
    int height = iChildP->mHeight;
    for (Cmn_XMLNode* nodeP = this; nodeP; nodeP = nodeP->mParentP)
        nodeP->mHeight = std::max(nodeP->mHeight, ++height);
}

const Cmn_XMLNode* Cmn_XMLNode::FindChild(std::string_view iName) const
{
    const auto found = std::ranges::find(mChildren, iName, [](const Ptr& i) -> std::string_view { return i->mName; });
    return found != mChildren.end() ? found->get() : nullptr;
}

std::string Cmn_XMLNode::AsText() const
{
    StringSink sink;
    Writer(sink).WriteElement(*this, 0);
    return std::move(sink.mText);
}

void Cmn_XMLNode::WriteText(std::ostream& ioStream) const
{
    pugi::xml_writer_stream sink(ioStream);
    Writer(sink).WriteElement(*this, 0);
}

Cmn_AliasedRefCountPtr<Cmn_XMLNode> Cmn_CreateXMLNode(std::string_view iName)
{
    return Cmn_CreateXMLNode(iName, std::string_view());
}

Cmn_AliasedRefCountPtr<Cmn_XMLNode> Cmn_CreateXMLNode(std::string_view iName, std::string_view iValue)
{
    return new Cmn_XMLNode(iName, iValue);
}
