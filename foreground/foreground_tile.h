// The sparse least-squares solve of one tile's foreground colours.
#pragma once

#include "frame/image_buffer.h"

namespace qx {

// planes: three colour planes of one size, overwritten in their interior with
// the solved foreground; alpha: at least that size. Returns 0, or
// QxBase::QXRC_PRODUCT (10) when a sparse product failed. Throws QxBase::QXRC
// values 1, 6, 9, 11; ends the process on a direct solver failure.
int recoverForegroundTile(GIMG<unsigned char>* const planes[3], GIMG<unsigned char>& alpha);

}  // namespace qx
