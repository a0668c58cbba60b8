#pragma once

// The biquad cascade's kernels, compiled into each processor variant.

#include "ipp/detail/IirLayout.h"

#include <cmath>
#include <utility>

namespace sonacore::ipp::kernels {
namespace {

using detail::iirTapsPerSection;

// The transposed direct form II, sample by sample, every section in turn. Used for short chunks, where
// the block path would not pay for its set-up.
inline void iirSampleBySample(const double* source, double* destination, int length, const double* taps,
                              double* delay, int sections) {
    for (int n = 0; n < length; ++n) {
        double x = source[n];
        for (int s = 0; s < sections; ++s) {
            const double* b = taps + iirTapsPerSection * s;
            double* d = delay + 2 * s;
            const double y = b[0] * x + d[0];
            d[0] = b[1] * x + b[3] * y + d[1];
            d[1] = b[2] * x + b[4] * y;
            x = y;
        }
        destination[n] = x;
    }
}

// A group of up to four sections over one chunk. The first section's feed-forward part depends on the input
// only, so it is computed for the whole chunk first, vectorised, into the scratch. The recursion then runs
// in the direct form I (y = u - a1 y[n-1] - a2 y[n-2], with u the feed-forward sum), whose only chain from
// one sample to the next is one multiply-add per section; the sections of the group overlap in the pipeline.
//
// The loop is bound by the number of multiplications, so the later sections run with b0 taken out of their
// feed-forward sums (1, b1/b0, b2/b0), and the product of those b0 moves into the first section's sums.
// Section s then carries its true signal times g_s, the product of b0 of the sections after it; the last
// one carries the true output.
//
// The first two samples go through the transposed form to turn the delay line into past inputs and outputs,
// and at the end the past values are turned back into the delay line, so both paths leave it with the same
// meaning.
template <int S>
void iirGroup(const double* source, double* destination, int length, const double* taps, double* delay,
              double* scratch) {
    double b0[S], b1[S], b2[S], na1[S], na2[S], c1[S], c2[S], gain[S];
    for (int s = 0; s < S; ++s) {
        b0[s] = taps[iirTapsPerSection * s];
        b1[s] = taps[iirTapsPerSection * s + 1];
        b2[s] = taps[iirTapsPerSection * s + 2];
        na1[s] = taps[iirTapsPerSection * s + 3];
        na2[s] = taps[iirTapsPerSection * s + 4];
        c1[s] = b1[s] / b0[s];
        c2[s] = b2[s] / b0[s];
    }
    gain[S - 1] = 1.0;
    for (int s = S - 2; s >= 0; --s) {
        gain[s] = gain[s + 1] * b0[s + 1];
    }
    for (int s = 0; s < S; ++s) {
        // Gains far from 1 would lose the signal to underflow or overflow; such taps take the plain form.
        if (!(std::fabs(gain[s]) > 1e-100 && std::fabs(gain[s]) < 1e100)) {
            iirSampleBySample(source, destination, length, taps, delay, S);
            return;
        }
    }

    // Kept before the loop overwrites them when the filter runs in place.
    const double lastInput = source[length - 1];
    const double inputBeforeLast = source[length - 2];
    const double k0 = gain[0] * b0[0];
    const double k1 = gain[0] * b1[0];
    const double k2 = gain[0] * b2[0];
    for (int n = 2; n < length; ++n) {
        scratch[n] = k0 * source[n] + k1 * source[n - 1] + k2 * source[n - 2];
    }

    double x1[S], x2[S], y1[S], y2[S];
    for (int n = 0; n < 2; ++n) {
        double x = source[n];
        for (int s = 0; s < S; ++s) {
            double* d = delay + 2 * s;
            const double y = b0[s] * x + d[0];
            d[0] = b1[s] * x + na1[s] * y + d[1];
            d[1] = b2[s] * x + na2[s] * y;
            const double inputGain = (s == 0) ? 1.0 : gain[s - 1];
            if (n == 0) {
                x2[s] = x * inputGain;
                y2[s] = y * gain[s];
            } else {
                x1[s] = x * inputGain;
                y1[s] = y * gain[s];
            }
            x = y;
        }
        destination[n] = x;
    }

    // Two samples per pass, with the past values swapping roles instead of moving: "a" holds the older and
    // "b" the newer sample on entry to the first half, and the reverse on entry to the second.
    double* xa = x2;
    double* xb = x1;
    double* ya = y2;
    double* yb = y1;
    int n = 2;
    for (; n + 1 < length; n += 2) {
        double y = na1[0] * yb[0] + (na2[0] * ya[0] + scratch[n]);
        ya[0] = y;
        for (int s = 1; s < S; ++s) {
            const double x = y;
            y = na1[s] * yb[s] + (na2[s] * ya[s] + (c2[s] * xa[s] + (c1[s] * xb[s] + x)));
            xa[s] = x;
            ya[s] = y;
        }
        destination[n] = y;
        y = na1[0] * ya[0] + (na2[0] * yb[0] + scratch[n + 1]);
        yb[0] = y;
        for (int s = 1; s < S; ++s) {
            const double x = y;
            y = na1[s] * ya[s] + (na2[s] * yb[s] + (c2[s] * xb[s] + (c1[s] * xa[s] + x)));
            xb[s] = x;
            yb[s] = y;
        }
        destination[n + 1] = y;
    }
    if (n < length) {
        double y = na1[0] * yb[0] + (na2[0] * ya[0] + scratch[n]);
        ya[0] = y;
        for (int s = 1; s < S; ++s) {
            const double x = y;
            y = na1[s] * yb[s] + (na2[s] * ya[s] + (c2[s] * xa[s] + (c1[s] * xb[s] + x)));
            xa[s] = x;
            ya[s] = y;
        }
        destination[n] = y;
        std::swap(xa, xb);
        std::swap(ya, yb);
    }
    // Name the newest values x1, y1 again.
    double newestX[S], olderX[S], newestY[S], olderY[S];
    for (int s = 0; s < S; ++s) {
        newestX[s] = xb[s];
        olderX[s] = xa[s];
        newestY[s] = yb[s];
        olderY[s] = ya[s];
    }
    for (int s = 0; s < S; ++s) {
        x1[s] = newestX[s];
        x2[s] = olderX[s];
        y1[s] = newestY[s];
        y2[s] = olderY[s];
    }

    // Back to true values; the first section's past inputs come from the source, not from the loop.
    x1[0] = lastInput;
    x2[0] = inputBeforeLast;
    for (int s = 0; s < S; ++s) {
        if (s > 0) {
            x1[s] /= gain[s - 1];
            x2[s] /= gain[s - 1];
        }
        y1[s] /= gain[s];
        y2[s] /= gain[s];
        delay[2 * s] = b1[s] * x1[s] + b2[s] * x2[s] + na1[s] * y1[s] + na2[s] * y2[s];
        delay[2 * s + 1] = b2[s] * x1[s] + na2[s] * y1[s];
    }
}

// One chunk of at most iirChunkLength samples through the whole cascade.
inline void iirChunk(const double* source, double* destination, int length, IirState* state) {
    const int sections = state->numBq;
    if (length <= 4 * sections) {
        iirSampleBySample(source, destination, length, state->taps, state->delay, sections);
        return;
    }
    const double* in = source;
    for (int first = 0; first < sections; first += 4) {
        const int group = (sections - first < 4) ? sections - first : 4;
        const double* taps = state->taps + iirTapsPerSection * first;
        double* delay = state->delay + 2 * first;
        switch (group) {
        case 1:
            iirGroup<1>(in, destination, length, taps, delay, state->scratch);
            break;
        case 2:
            iirGroup<2>(in, destination, length, taps, delay, state->scratch);
            break;
        case 3:
            iirGroup<3>(in, destination, length, taps, delay, state->scratch);
            break;
        default:
            iirGroup<4>(in, destination, length, taps, delay, state->scratch);
            break;
        }
        in = destination;
    }
}

} // namespace
} // namespace sonacore::ipp::kernels
