#pragma once

// A key: how many accidentals, of which sort, and the mode. Default: C major.
class Time_KeySignature
{
public:
    constexpr int GetNumAccidentals() const { return mNumAccidentals; }
    constexpr void SetNumAccidentals(int iNumAccidentals) { mNumAccidentals = iNumAccidentals; }

    // True: sharps, which is also the value without any accidentals; false: flats.
    constexpr bool GetIsSharps() const { return mIsSharps; }
    constexpr void SetIsSharps(bool iIsSharps) { mIsSharps = iIsSharps; }

    constexpr bool GetIsMajor() const { return mIsMajor; }
    constexpr void SetIsMajor(bool iIsMajor) { mIsMajor = iIsMajor; }

    constexpr bool operator==(const Time_KeySignature&) const = default;

private:
    int mNumAccidentals = 0;
    bool mIsSharps = true;
    bool mIsMajor = true;
};
