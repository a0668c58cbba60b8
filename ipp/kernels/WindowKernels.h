#pragma once

// The Hann window's kernel, compiled into each processor variant.

#include <cmath>

namespace sonacore::ipp::kernels {
namespace {

// The window's values come from the recurrence c[k + 8] = 2 cos(8 t) c[k] - c[k - 8] for c[k] = cos(k t) / 2,
// eight lanes in step. A recurrence of this kind lets rounding errors grow with the square of its steps, so
// it restarts from directly computed values every restartSteps steps; that keeps the window exact to double
// precision far below the single precision it is rounded to, at any length.
constexpr int hannLanes = 8;
constexpr int restartSteps = 512;

inline void hannInPlace(float* data, int length) {
    // The two angles as the window's definition states them, in double.
    const double t = 6.283185307179586 / static_cast<double>(length - 1);
    const double twoCosStep = 2.0 * std::cos(t * hannLanes);
    const int half = length / 2;
    double previous[hannLanes] = {};
    double current[hannLanes] = {};
    int step = restartSteps;
    int base = 0;
    auto restartIfDue = [&]() {
        if (step == restartSteps) {
            for (int j = 0; j < hannLanes; ++j) {
                previous[j] = 0.5 * std::cos(t * (base - hannLanes + j));
                current[j] = 0.5 * std::cos(t * (base + j));
            }
            step = 0;
        }
    };
    // Whole groups of eight first, with a fixed count so that the compiler vectorises both ends.
    for (; base + hannLanes <= half; base += hannLanes) {
        restartIfDue();
        float* front = data + base;
        float* back = data + length - 1 - base;
        for (int j = 0; j < hannLanes; ++j) {
            const float w = static_cast<float>(0.5 - current[j]);
            front[j] *= w;
            back[-j] *= w;
        }
        for (int j = 0; j < hannLanes; ++j) {
            const double next = twoCosStep * current[j] - previous[j];
            previous[j] = current[j];
            current[j] = next;
        }
        ++step;
    }
    if (base < half) {
        restartIfDue();
        for (int j = 0; j < half - base; ++j) {
            const float w = static_cast<float>(0.5 - current[j]);
            data[base + j] *= w;
            data[length - 1 - base - j] *= w;
        }
    }
}

} // namespace
} // namespace sonacore::ipp::kernels
