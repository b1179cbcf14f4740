// A fill-reducing ordering for systems whose unknowns are pixels coupled
// only within a small distance of each other, such as the matting system,
// whose 3x3 windows couple pixels up to 2 apart in x and in y. Nested
// dissection by the pixels' own coordinates: the unknowns' bounding box is
// cut across its longer side at the median by a separator `reach` pixels
// wide, which no coupling crosses; the two halves are ordered the same way,
// then the separator. Linear in the unknowns per level, where the minimum
// degree ordering of the general graph was a tenth of a whole matte.
#pragma once

namespace qx {

// order[k] = the unknown to eliminate k-th, for n unknowns at (xs[i], ys[i]);
// unknowns i and j may be coupled only when |xs[i] - xs[j]| <= reach and
// |ys[i] - ys[j]| <= reach.
void gridNestedDissection(int n, const int* xs, const int* ys, int reach, int* order);

}  // namespace qx
