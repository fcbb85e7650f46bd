#pragma once

#include "CFnd/CFnd_Export.h"
#include "CFnd/Cmn_RefCountObject.h"

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

// An XML element for people and tools to look at: a name, a text and elements inside it. Nothing here reads XML.
// Made by Cmn_CreateXMLNode. Threads: a tree belongs to one at a time.
class CFND_EXPORT Cmn_XMLNode : public Cmn_RefCountObject
{
public:
    using Ptr = Cmn_AliasedRefCountPtr<Cmn_XMLNode>;

    // The levels of a tree, its root included.
    static constexpr int kMaxDepth = 256;

    // UTF-8. Any text will do; see WriteText.
    explicit Cmn_XMLNode(std::string_view iName, std::string_view iValue = {});
    ~Cmn_XMLNode() override;

    // Adds it behind the others. Null, a node that is in a tree already or holds this one, and a tree that would become
    // deeper than kMaxDepth are reported and not added.
    void AddChild(const Ptr& iChildP);

    const std::string& GetName() const { return mName; }
    const std::string& GetValue() const { return mValue; }
    const std::vector<Ptr>& GetChildren() const { return mChildren; }

    // The first one of this name, owned by this node; null when there is none.
    const Cmn_XMLNode* FindChild(std::string_view iName) const;

    // As well-formed UTF-8 without a declaration: one element a line, indented by its level; a text goes before the
    // children. In a name, what is not an ASCII letter or digit, '_', '-' or '.' is written as '_', and '_' goes before
    // a name that begins with none of a letter and '_'. In a text, bytes that are no UTF-8 and the control characters
    // that XML does not have are written as U+FFFD.
    std::string AsText() const;

    // The same; the stream's state tells whether it was written.
    void WriteText(std::ostream& ioStream) const;

private:
    std::string mName;
    std::string mValue;
    std::vector<Ptr> mChildren;
    Cmn_XMLNode* mParentP = nullptr; // not owned
    int mHeight = 1;                 // levels from here down
};

CFND_EXPORT Cmn_AliasedRefCountPtr<Cmn_XMLNode> Cmn_CreateXMLNode(std::string_view iName);
CFND_EXPORT Cmn_AliasedRefCountPtr<Cmn_XMLNode> Cmn_CreateXMLNode(std::string_view iName, std::string_view iValue);
void Cmn_CreateXMLNode(std::string_view iName, std::nullptr_t) = delete;

// A bool, a character and a floating-point number are none: what they would look like is for the caller to say.
template <class T>
concept Cmn_XMLInteger =
    std::integral<T> && !std::same_as<T, bool> && !std::same_as<T, char> && !std::same_as<T, wchar_t> &&
    !std::same_as<T, char8_t> && !std::same_as<T, char16_t> && !std::same_as<T, char32_t>;

// In decimal, a signed char too.
template <Cmn_XMLInteger T>
Cmn_AliasedRefCountPtr<Cmn_XMLNode> Cmn_CreateXMLNode(std::string_view iName, T iValue)
{
    if constexpr (std::unsigned_integral<T>)
        return Cmn_CreateXMLNode(iName, std::string_view(std::to_string(std::uint64_t{iValue})));
    else
        return Cmn_CreateXMLNode(iName, std::string_view(std::to_string(std::int64_t{iValue})));
}
