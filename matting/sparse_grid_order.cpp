#include "matting/sparse_grid_order.h"

#include <algorithm>
#include <vector>

namespace qx {

namespace {

// Pieces this small are eliminated in the order given (reading order): their
// factor block is dense anyway, and the solver's supernodes take them whole.
constexpr int kLeaf = 64;

struct Dissection {
    const int* xs;
    const int* ys;
    int reach;
    int* order;
    int placed = 0;
    std::vector<int> scratch;
    std::vector<int> counts;

    // Orders the unknowns in [first, first + n) of `pending`.
    void run(int* pending, int n) {
        if (n <= kLeaf) {
            std::copy(pending, pending + n, order + placed);
            placed += n;
            return;
        }
        int x0 = xs[pending[0]], x1 = x0, y0 = ys[pending[0]], y1 = y0;
        for (int k = 1; k < n; ++k) {
            x0 = std::min(x0, xs[pending[k]]), x1 = std::max(x1, xs[pending[k]]);
            y0 = std::min(y0, ys[pending[k]]), y1 = std::max(y1, ys[pending[k]]);
        }
        const bool alongX = x1 - x0 >= y1 - y0;
        const int* at = alongX ? xs : ys;
        const int low = alongX ? x0 : y0, extent = (alongX ? x1 - x0 : y1 - y0) + 1;
        if (extent <= reach + 2) {  // no cut leaves two sides
            std::copy(pending, pending + n, order + placed);
            placed += n;
            return;
        }
        // The median line, kept off the edges so that both sides have pixels.
        counts.assign(extent, 0);
        for (int k = 0; k < n; ++k) ++counts[at[pending[k]] - low];
        int cut = 0;
        for (int seen = 0; cut < extent && seen + counts[cut] <= n / 2; ++cut) seen += counts[cut];
        cut = std::clamp(cut, 1, extent - 1 - reach) + low;
        // Stable three-way split: below the separator, above it, the separator.
        scratch.resize(n);
        int below = 0, above = 0, separator = 0;
        for (int k = 0; k < n; ++k)
            if (at[pending[k]] < cut) pending[below++] = pending[k];
            else scratch[at[pending[k]] >= cut + reach ? above++ : n - 1 - separator++] = pending[k];
        std::copy(scratch.begin(), scratch.begin() + above, pending + below);
        for (int k = 0; k < separator; ++k) pending[below + above + k] = scratch[n - 1 - k];
        run(pending, below);
        run(pending + below, above);
        std::copy(pending + below + above, pending + n, order + placed);
        placed += separator;
    }
};

}  // namespace

void gridNestedDissection(int n, const int* xs, const int* ys, int reach, int* order) {
    std::vector<int> pending(n);
    for (int i = 0; i < n; ++i) pending[i] = i;
    Dissection d{xs, ys, reach, order, 0, {}, {}};
    d.run(pending.data(), n);
}

}  // namespace qx
