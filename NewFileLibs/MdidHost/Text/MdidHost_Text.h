#pragma once

#include "Mdid/Mdid_Event.h"

#include <concepts>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

// "90 3c 40"
std::string MdidHost_HexOf(std::span<const unsigned char> iBytes);

// The MIDI bytes of all messages that an event makes, in hex.
std::string MdidHost_HexOfMessages(const Mdid_Event& iEvent);

// The event as Mdie_TraceUtil describes it.
std::string MdidHost_DescriptionOf(const Mdid_Event& iEvent);

// Fit for a terminal: each byte of what could steer it becomes "\xNN". That is control characters, line separators,
// changes of the writing direction, and what is no character or no UTF-8 (file names need not be).
std::string MdidHost_Printable(std::string_view iText);

// "1 note", "2 notes"; "-1 note"; "2 switches" with iMany.
std::string MdidHost_Counted(std::int64_t iCount, std::string_view iOne, std::string_view iMany = {});

template <class T>
concept MdidHost_Number = std::integral<T> && !std::same_as<T, bool>;

// One JSON object, compact, with its keys in the order in which they are added.
class MdidHost_JsonLine
{
public:
    void Add(std::string_view iKey, std::string_view iText);
    void Add(std::string_view iKey, const char* iText) { Add(iKey, std::string_view(iText)); }
    void Add(std::string_view iKey, std::same_as<bool> auto iValue) { AddRaw(iKey, iValue ? "true" : "false"); }
    void Add(std::string_view iKey, MdidHost_Number auto iNumber) { AddRaw(iKey, std::to_string(iNumber)); }
    void Add(std::string_view iKey, std::optional<std::int64_t> iNumber); // null where there is none
    void Add(std::string_view iKey, std::span<const int> iNumbers);
    void Add(std::string_view iKey, std::span<const MdidHost_JsonLine> iObjects);
    void AddNull(std::string_view iKey) { AddRaw(iKey, "null"); }
    void Add(std::string_view iKey, const MdidHost_JsonLine& iObject) { AddRaw(iKey, iObject.GetText()); }

    std::string GetText() const { return mText + '}'; }

private:
    void AddRaw(std::string_view iKey, std::string_view iJson);

    std::string mText = "{";
};
