// The library's own string table, in English. A translation has the same ids, with the same placeholders.

#include "CFnd/I18N_Utils.h"

namespace
{

constexpr I18N_StringTableEntry kTexts[] = {
    {100, L"bad data encountered"},
    {101, L"bad data encountered: stream not unique"},
    {102, L"bad header type encountered"},
    {103, L"bad header length encountered"},
    {104, L"MIDI file format unknown"},
    {105, L"bad first byte of event encountered"},
    {106, L"bad track length encountered"},
    {107, L"bad length for End of Track meta-event encountered"},
    {108, L"unknown length for MIDI channel meta-event encountered"},
    {109, L"unknown length for tempo meta-event encountered"},
    {110, L"unknown length for SMPTE Offset meta-event"},
    {111, L"Bad SMPTE offset"},
    {112, L"unknown length for Time Signature meta-event encountered"},
    {113, L"unknown length for Key Signature meta-event encountered"},
    {114, L"bad MIDI event encountered"},

    {200, L"...out of notes in progress..."},
    {201, L"bad subtype encountered"},
    {202, L"bad data encountered"},
    {203, L"sorter full"},
    {204, L"Step Input"},
    {205, L"Step Input: 64th Note"},
    {206, L"Step Input: 32nd Note"},
    {207, L"Step Input: 16th Note"},
    {208, L"Step Input: 8th Note"},
    {209, L"Step Input: Quarter Note"},
    {210, L"Step Input: Half Note"},
    {211, L"Step Input: Whole Note"},
    {212, L"Step Input: Toggle Tuplet"},
    {213, L"Step Input: Toggle Dotted"},
    {214, L"Step Input: Next Step"},
    {215, L"Step Input: Undo Step"},
    {216, L"Step Input: Redo Step"},
    {217, L"this is an in stream!"},
    {218, L"wrong SMF header encountered"},
    {219, L"expected continuation of a sysex not found"},
    {220, L"running status unexpected"},
    {221, L"wrong SMF encountered"},
    {222, L"wrong MIDI track header encountered"},
    {223, L"MIDI File Format not accepted"},
    {224, L"An error occured while importing MIDI file:\n%1"}, // Kept: the spelling is part of the text.

    {300, L"The QuorMIDIService could not be acquired. Please verify QuorMIDIService is properly installed and "
          L"registered (may require a complete reinstall)."},
};

const I18N_ResourceRegistration sRegistration("Mdid", kTexts);

} // namespace
