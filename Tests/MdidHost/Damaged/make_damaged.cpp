// Writes one small Standard MIDI File for every kind of damage that the repairing stream knows. Each holds two notes
// and a tempo, and one thing that is wrong. The same program always writes the same bytes.
//
//     make_damaged FOLDER

#include <cstdint>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace
{

std::string Hex(std::string_view iText)
{
    std::string digits(iText), bytes;
    std::erase(digits, ' ');
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2)
        bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
    return bytes;
}

std::string Number(std::size_t iValue, int iNumBytes)
{
    std::string bytes;
    while (iNumBytes-- > 0)
        bytes += static_cast<char>(iValue >> (8 * iNumBytes) & 0xFF);
    return bytes;
}

std::string Header(std::size_t iFormat, std::size_t iNumTracks, std::size_t iDivision = 96, std::size_t iLength = 6)
{
    return "MThd" + Number(iLength, 4) + Number(iFormat, 2) + Number(iNumTracks, 2) + Number(iDivision, 2);
}

// The length is wrong when it is given.
std::string Track(std::string_view iHex, std::optional<std::size_t> iLength = {})
{
    const std::string events = Hex(iHex);
    return "MTrk" + Number(iLength.value_or(events.size()), 4) + events;
}

const std::string kHead = Header(1, 2);
const std::string kTempoTrack = Track("00FF510307A120 00FF2F00");
const std::string kNoteTrack = Track("00903C40 60803C40 00904040 60804040 00FF2F00");
const std::string kTracks = kTempoTrack + kNoteTrack;

std::string WithNotes(std::string_view iHex, std::optional<std::size_t> iLength = {})
{
    return kHead + kTempoTrack + Track(iHex, iLength);
}

// A first track with a tempo and more.
std::string WithFirst(const std::string& iHex)
{
    return kHead + Track("00FF510307A120 " + iHex + " 00FF2F00") + kNoteTrack;
}

struct File
{
    const char* mName;
    std::string mBytes;
};

std::vector<File> Files()
{
    const std::string sound = kHead + kTracks;
    const std::string wrapped = std::string("RIFF") + static_cast<char>(sound.size() + 12) + std::string(3, '\0') +
                                "RMIDdata" + static_cast<char>(sound.size()) + std::string(3, '\0') + sound;
    const std::string everything =
        Header(1, 2, 0xE728) +
        Track("00FF00020102 00FF010341225C 00FF020400097F80 00FF0303A0A1FF 00FF040141 00FF050142 00FF060143 00FF070144 "
              "00FF080145 00FF0F0147 00FF200103 00FF210107 00FF4B02AABB 00FF510307A120 00FF5405610B1D0F32 "
              "00FF580406031808 00FF5902FD01 00FF59020500 00FF7F0300417F 00FF7F00 00FF0100 00FF6001FF 00FF2F00") +
        Track("00903C40 103C00 10803C40 8100A03C01 00B00740 00BF7B00 00C005 0006 00D011 00E00040 00017F "
              "00F0054110424344 00F0034142F7 05F7024344 05F701F7 00F700 00F000 00903C40 00FF0100 003E40 10FF2F00");
    return {
        {"undamaged", everything},
        {"riff", wrapped},
        {"bytes_before_header", std::string(128, 'x') + sound},
        {"no_header", kTracks},
        {"header_letters", "MThx" + sound.substr(4)},
        {"header_length_short", Header(1, 2, 96, 2) + kTracks},
        {"header_length_long", Header(1, 2, 96, 600) + kTracks},
        {"header_cut", Header(1, 2).substr(0, 12) + kTracks},
        {"format_unknown", Header(7, 2) + kTracks},
        {"format_0_with_two_tracks", Header(0, 2) + kTracks},
        {"division_0", Header(1, 2, 0) + kTracks},
        {"smpte_without_ticks", Header(1, 2, 0xE700) + kTracks},
        {"fewer_tracks", Header(1, 5) + kTracks},
        {"more_tracks", Header(1, 1) + kTracks},
        {"alien_chunk", kHead + kTempoTrack + "XFIH" + Number(3, 4) + "abc" + kNoteTrack},
        {"bytes_between_chunks", kHead + kTempoTrack + Hex("0102F0") + kNoteTrack + Hex("00")},
        {"track_letters", kHead + kTempoTrack + "MTxk" + kNoteTrack.substr(4)},
        {"length_short", WithNotes("00903C40 60803C40 00904040 60804040 00FF2F00", 8)},
        {"length_one_byte_short", WithNotes("00903C40 60803C40 00904040 60804040 00FF2F00", 19)},
        {"length_long", WithNotes("00903C40 60803C40 00904040 60804040 00FF2F00", 4000)},
        {"length_into_next_track", kHead + Track("00FF510307A120 00FF2F00", 20) + kNoteTrack},
        {"next_track_after_damage", kHead + Track("00FF510307A120 00FF0170616263", 15) + kNoteTrack},
        {"event_into_next_track", kHead + Track("00FF510307A120 00904040 00402F00") + kNoteTrack},
        {"end_into_next_track", kHead + Track("00FF510307A120 00FF2F80") + kNoteTrack},
        {"cut_in_event", sound.substr(0, sound.size() - 6)},
        {"cut_between_events", sound.substr(0, sound.size() - 8)},
        {"no_end_of_track", WithNotes("00903C40 60803C40 00904040 60804040")},
        {"no_end_before_next_track", kHead + Track("00FF510307A120") + kNoteTrack},
        {"padding_behind_end", WithNotes("00903C40 60803C40 00904040 60804040 00FF2F00 000000")},
        {"events_behind_end", WithNotes("00903C40 60803C40 00904040 60804040 00FF2F00 00904340")},
        {"end_with_length", WithNotes("00903C40 60803C40 00904040 60804040 00FF2F02 0000")},
        {"system_common", WithNotes("00903C40 30F24040 30803C40 00904040 60804040 00FF2F00")},
        {"real_time", WithNotes("00903C40 30F8 30803C40 00904040 60804040 00FF2F00")},
        {"real_time_in_message", WithNotes("00903CF840 60803C40 00904040 60804040 00FF2F00")},
        {"stray_data", WithNotes("003C40 00903C40 60803C40 00904040 60804040 00FF2F00")},
        {"status_lost", WithNotes("003040 183000 18B00740 00903C40 60803C40 00904040 60804040 00FF2F00")},
        {"data_byte_high", WithNotes("00903CFB 60803C40 00904040 60804040 00FF2F00")},
        {"message_incomplete", WithNotes("00903C40 60803C40 00904040 6080 00904340 60804040 00FF2F00")},
        {"delta_of_five_bytes", WithNotes("8080808000903C40 60803C40 00904040 60804040 00FF2F00")},
        {"delta_out_of_range", WithNotes("FFFFFFFF7F903C40 60803C40 00904040 60804040 00FF2F00")},
        {"length_of_five_bytes", WithNotes("00903C40 60803C40 00FF0180808080026869 00904040 60804040 00FF2F00")},
        {"meta_type_80", WithNotes("00903C40 60803C40 00FF800141 00904040 60804040 00FF2F00")},
        {"status_after_ff", WithNotes("00903C40 60FF803C40 00904040 60804040 00FF2F00")},
        {"event_too_long", WithNotes("00903C40 60803C40 00F0837F41 00904040 60804040 00FF2F00")},
        {"time_too_great", WithNotes("00903C40 60803C40 00904040 FFFFFF7F804040 FFFFFF7F904040 FFFFFF7F804040 "
                                     "FFFFFF7F904040 FFFFFF7F804040 FFFFFF7F904040 FFFFFF7F804040 FFFFFF7F904040 "
                                     "FFFFFF7F804040 00FF2F00")},
        {"tempo_of_four_bytes", WithFirst("60FF510400061A80")},
        {"tempo_of_two_bytes", WithFirst("60FF51020707")},
        {"tempo_0", WithFirst("60FF5103000000")},
        {"meter_of_two_bytes", WithFirst("60FF58020603")},
        {"meter_denominator_16", WithFirst("60FF580406101808")},
        {"meter_denominator_2_to_17", WithFirst("60FF580406111808")},
        {"meter_numerator_0", WithFirst("60FF580400021808")},
        {"meter_without_quarter", WithFirst("60FF580406031800")},
        {"key_of_one_byte", WithFirst("60FF5901FD")},
        {"key_of_9_sharps", WithFirst("60FF59020900")},
        {"key_mode_7", WithFirst("60FF59020207")},
        {"smpte_offset_of_four_bytes", WithFirst("00FF540461000000")},
        {"smpte_offset_high_bit", WithFirst("00FF5405E100000000")},
        {"smpte_offset_out_of_range", WithFirst("00FF54057E00000000")},
        {"channel_prefix_16", WithFirst("00FF200110")},
        {"maps_in_later_tracks", sound.substr(0, 10) + Number(3, 2) + sound.substr(12) +
                                     Track("00FF510307A120 60FF5103061A80 00FF0602686900FF58040302180800FF2F00")},
        {"format_2", Header(2, 2) + kTempoTrack + Track("00903C40 60803C40 00FF5103061A80 00904040 60804040 00FF2F00")},
    };
}

} // namespace

int main(int iNumArguments, char** iArguments)
try
{
    if (iNumArguments != 2)
        throw std::invalid_argument("usage: make_damaged FOLDER");
    const std::filesystem::path folder = iArguments[1];
    std::filesystem::create_directories(folder);
    for (const auto& [name, bytes] : Files())
        if (!(std::ofstream(folder / (std::string(name) + ".mid"), std::ios::binary) << bytes).flush())
            throw std::runtime_error("cannot write " + std::string(name));
    return 0;
}
catch (const std::exception& e)
{
    return std::cerr << e.what() << '\n', 1;
}
