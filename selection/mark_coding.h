// Mark coding of the 8-bit mask planes. Bit 0 set means the value was fixed
// by the user and no computation may change it; bits 1 to 7 carry the level.
// Another even value is a soft alpha, another odd value a fixed alpha.
#pragma once

namespace qx {

constexpr unsigned char kFixedKeep = 0xFF;
constexpr unsigned char kFixedCut = 0x01;
constexpr unsigned char kSoftKeep = 0xFE;
constexpr unsigned char kSoftCut = 0x00;
constexpr unsigned char kUnknownBand = 0x7E;  // the band qxGrabCutEdgeGen draws

inline bool isFixedMark(unsigned char mark) { return (mark & 1) != 0; }

// The fixed (odd) form of a level: 0 and 1 give 0x01, 0xFE and 0xFF give 0xFF.
inline unsigned char fixedMark(unsigned char level) { return static_cast<unsigned char>((level & 0xFE) + 1); }

// The soft (even) form of a level.
inline unsigned char softMark(unsigned char level) { return static_cast<unsigned char>(level & 0xFE); }

}  // namespace qx
