// The pixel operations inside a solve are parallel over rows. A tile or a
// local box is most often a few thousand pixels, where starting and joining
// the team for each operation costs more than the work (and much more on a
// busy machine); such a solve runs on the calling thread. Row-parallel
// operations give the same pixels either way.
#pragma once

#include <omp.h>

namespace qx {

struct SerialWhenSmall {
    static constexpr long long kSerialArea = 1 << 18;
    int saved = omp_get_max_threads();
    explicit SerialWhenSmall(long long pixels) {
        if (pixels < kSerialArea) omp_set_num_threads(1);
    }
    ~SerialWhenSmall() { omp_set_num_threads(saved); }
    SerialWhenSmall(const SerialWhenSmall&) = delete;
    SerialWhenSmall& operator=(const SerialWhenSmall&) = delete;
};

}  // namespace qx
