// Levelling of chroma planes (stored around 128) for the tone preview: a
// stretch by n / 8 around mid-grey, n from the gain that brings the planes'
// mean distance from mid-grey to a target.
#pragma once

namespace qx {

// One plane, measured on both sides of mid-grey. Returns 0 for a target below
// 1, else 1 (the plane untouched when the gain is not above 1.12).
int levelPlane(unsigned char* plane, int step, int target, int width, int height);

// Cb and Cr (one step) together, measured only above mid-grey, stretched by
// the same n so that their balance stays. Returns as levelPlane.
int levelChromaPair(unsigned char* cb, unsigned char* cr, int step, int target, int width, int height);

}  // namespace qx
