#pragma once

// The clicks of a meter, as a file and as its reader tell them.

// iClocksPerClick: MIDI clocks, of the file.
constexpr int MdidHost_ClocksOfReader(int iClocksPerClick, int iThirtySecondsPerQuarter)
{
    return iClocksPerClick * iThirtySecondsPerQuarter / 3;
}

// The smallest number of MIDI clocks that makes what the reader tells.
constexpr int MdidHost_ClocksPerClick(int iClocksOfReader, int iThirtySecondsPerQuarter)
{
    return iThirtySecondsPerQuarter > 0
               ? (3 * iClocksOfReader + iThirtySecondsPerQuarter - 1) / iThirtySecondsPerQuarter
               : 0;
}
