#include "ipp/detail/FftLayout.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <initializer_list>

namespace sonacore::ipp::detail {

namespace {

constexpr std::int64_t alignmentBlock = 64;

std::int64_t roundUp(std::int64_t bytes) {
    return (bytes + alignmentBlock - 1) / alignmentBlock * alignmentBlock;
}

// cos and sin of 2 pi k / n, worked out in long double so that the float tables are correctly rounded, and
// exact at the quarter turns so that the bins 0 and N/2 get exact zeros where the layout promises them.
void unitRoot(std::int64_t k, std::int64_t n, double& cosine, double& sine) {
    k %= n;
    if (k < 0) {
        k += n;
    }
    if ((4 * k) % n == 0) {
        static constexpr double quarterCos[4] = {1.0, 0.0, -1.0, 0.0};
        static constexpr double quarterSin[4] = {0.0, 1.0, 0.0, -1.0};
        const std::int64_t quarter = 4 * k / n;
        cosine = quarterCos[quarter];
        sine = quarterSin[quarter];
        return;
    }
    const long double angle = 2.0L * 3.14159265358979323846264338327950288L * static_cast<long double>(k) /
                              static_cast<long double>(n);
    cosine = static_cast<double>(std::cos(angle));
    sine = static_cast<double>(std::sin(angle));
}

struct Plan {
    int lanes = 0;
    std::int64_t n = 0; // real length N
    std::int64_t m = 0; // complex length M
    std::int64_t p = 0; // points per lane
    int radix4Stages = 0;
    int radix2Stage = 0;
    std::int64_t stageFloats = 0;
    std::int64_t crossFloats = 0;
    std::int64_t postFloats = 0; // each of the cos and the sin table
};

Plan makePlan(int order, int lanes) {
    Plan plan;
    plan.lanes = lanes;
    plan.n = std::int64_t{1} << order;
    if (lanes == 0) {
        plan.postFloats = plan.n;
        return plan;
    }
    plan.m = plan.n / 2;
    plan.p = plan.m / lanes;
    int log2p = 0;
    while ((std::int64_t{1} << log2p) < plan.p) {
        ++log2p;
    }
    plan.radix4Stages = log2p / 2;
    plan.radix2Stage = log2p % 2;
    for (int stage = 0; stage < plan.radix4Stages; ++stage) {
        plan.stageFloats += 6 * ((plan.p >> (2 * stage)) / 4);
    }
    plan.crossFloats = 2 * plan.m;
    plan.postFloats = plan.m / 2 + lanes;
    return plan;
}

std::int64_t planBytes(const Plan& plan) {
    return alignmentBlock + roundUp(sizeof(FftSpec)) + roundUp(4 * plan.stageFloats) +
           roundUp(4 * plan.crossFloats) + 2 * roundUp(4 * plan.postFloats);
}

double forwardScaleOf(int flag, std::int64_t n) {
    switch (flag) {
    case 1:
        return 1.0 / static_cast<double>(n);
    case 4:
        return 1.0 / std::sqrt(static_cast<double>(n));
    default:
        return 1.0;
    }
}

double inverseScaleOf(int flag, std::int64_t n) {
    switch (flag) {
    case 2:
        return 1.0 / static_cast<double>(n);
    case 4:
        return 1.0 / std::sqrt(static_cast<double>(n));
    default:
        return 1.0;
    }
}

} // namespace

int fftLanes(int order, int maxLanes) {
    if (order <= fftDirectMaxOrder) {
        return 0;
    }
    // Combining the lanes takes blocks of L x L points, so a lane needs at least L points.
    const std::int64_t m = std::int64_t{1} << (order - 1);
    int lanes = maxLanes;
    while (lanes > lanesSse && std::int64_t{lanes} * lanes > m) {
        lanes /= 2;
    }
    return lanes;
}

FftSizes fftSizes(int order) {
    FftSizes sizes;
    const std::int64_t n = std::int64_t{1} << order;
    if (order <= 10) {
        sizes.specSize = static_cast<int>(9 * n + 2048);
        sizes.workBufferSize = order > 5 ? static_cast<int>(4 * n + 128) : 0;
        return sizes;
    }
    std::int64_t specBytes = 0;
    for (int maxLanes : {lanesSse, lanesAvx, lanesAvx512}) {
        const int lanes = fftLanes(order, maxLanes);
        const std::int64_t bytes = planBytes(makePlan(order, lanes));
        specBytes = bytes > specBytes ? bytes : specBytes;
    }
    // The work buffer holds the lanes' data (N floats) and then the complex spectrum as two arrays of M + 1
    // values L apart; 64 more leave room to align it.
    sizes.specSize = static_cast<int>(specBytes + alignmentBlock);
    sizes.workBufferSize = static_cast<int>(4 * (n + lanesAvx512 + 1) + alignmentBlock);
    return sizes;
}

FftSpec* buildFftSpec(unsigned char* memory, int order, int flag, int hint, int maxLanes) {
    const int lanes = fftLanes(order, maxLanes);
    const Plan plan = makePlan(order, lanes);

    auto* fft = reinterpret_cast<FftSpec*>(memory);
    fft->identity = fftSpecIdentity;
    fft->order = order;
    fft->flag = flag;
    fft->hint = hint;
    fft->forwardScale = forwardScaleOf(flag, plan.n);
    fft->inverseScale = inverseScaleOf(flag, plan.n);
    fft->lanes = lanes;
    fft->radix4Stages = plan.radix4Stages;
    fft->radix2Stage = plan.radix2Stage;

    unsigned char* cursor = memory + roundUp(sizeof(FftSpec));
    auto take = [&cursor](std::int64_t floats) {
        auto* table = reinterpret_cast<float*>(cursor);
        cursor += roundUp(4 * floats);
        return table;
    };
    float* stage = take(plan.stageFloats);
    float* cross = take(plan.crossFloats);
    float* postCos = take(plan.postFloats);
    float* postSin = take(plan.postFloats);
    fft->stageTwiddles = stage;
    fft->crossTwiddles = cross;
    fft->postCos = postCos;
    fft->postSin = postSin;

    double c = 0.0;
    double s = 0.0;
    for (std::int64_t k = 0; k < plan.postFloats; ++k) {
        unitRoot(k, plan.n, c, s);
        postCos[k] = static_cast<float>(c);
        postSin[k] = static_cast<float>(-s);
    }
    if (lanes == 0) {
        return fft;
    }

    for (int j = 0; j < plan.radix4Stages; ++j) {
        const std::int64_t length = plan.p >> (2 * j);
        for (std::int64_t p = 0; p < length / 4; ++p) {
            for (int power = 1; power <= 3; ++power) {
                unitRoot(power * p, length, c, s);
                *stage++ = static_cast<float>(c);
                *stage++ = static_cast<float>(-s);
            }
        }
    }

    // The combining twiddles carry the factor 1/2 of the real split and the forward scale, so that the last
    // pass needs no multiplication of its own.
    const double h = 0.5 * fft->forwardScale;
    const std::int64_t blocks = plan.p / lanes;
    for (std::int64_t block = 0; block < blocks; ++block) {
        for (int l = 0; l < lanes; ++l) {
            float* row = cross + (block * lanes + l) * 2 * lanes;
            for (int j = 0; j < lanes; ++j) {
                unitRoot(l * (block * lanes + j), plan.m, c, s);
                row[j] = static_cast<float>(h * c);
                row[lanes + j] = static_cast<float>(-h * s);
            }
        }
    }
    return fft;
}

} // namespace sonacore::ipp::detail
