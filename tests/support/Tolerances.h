#pragma once

// The tolerances that more than one test compares a result with, each named once with where it comes from.
// A tolerance that only one test uses stays beside that test, named and explained there.
//
// The units of rounding behind them: single precision keeps a 24-bit mantissa, so one correctly rounded
// operation is off by at most 2^-24 ~ 6.0e-8 relative, and one unit in the last place at 1 is
// 2^-23 ~ 1.2e-7; double precision keeps 53 bits, 2^-53 ~ 1.1e-16 per operation.
namespace testsupport::tolerance {

// A float multiplied by a window value computed in double and rounded to float: the rounding of the window
// value and of the product, half a unit each, make one unit of 2^-23 ~ 1.2e-7, relative to the input.
constexpr double floatWindowRelative = 1.2e-7;

// re^2 + im^2 in float: two products and a sum, three roundings of 2^-24 ~ 1.8e-7 at worst, and the square
// root of the magnitude one more half unit on top of half of that; 2.5e-7 relative covers both.
constexpr double floatPowerRelative = 2.5e-7;

// A float FFT of random input against the long-double DFT, errors relative to the spectrum's RMS. Each of
// the log2(N) stages rounds once per butterfly (2^-24 ~ 6e-8), and independent roundings add up as
// sqrt(log2 N): about 2e-7 at order 13, so the RMS of the error stays below 3e-7 ...
constexpr double fftRmsRelative = 3e-7;
// ... while the worst single bin, one of N, may reach several times the RMS.
constexpr double fftMaxRelative = 2e-6;
// One bin of a float FFT scaled by 1/N of inputs no larger than 1, absolute: log2(N) <= 13 stages of
// 2^-24 each on values no larger than 1 stay below 8e-7.
constexpr double fftBinAbsolute = 1e-6;

// A biquad cascade in double of up to 9 sections over a few thousand samples against the same cascade in
// long double, relative to the largest output: a few roundings of 2^-53 per section and sample, carried on
// by the recursion, stay near 1e-14; 1e-12 leaves a margin for poles close to the unit circle.
constexpr double iirRelative = 1e-12;

// A sound level in dB against the long-double reference of the same algorithm. The double-precision
// meter loses some 1e-13 relative in the cascades and the time weighting over a block; 1e-9 dB is 2.3e-10
// relative in the mean square, far below anything a meter shows.
constexpr double levelDecibels = 1e-9;

} // namespace testsupport::tolerance
