#pragma once

#include "ipp/ipptypes.h"
#include "process/fft/IppFftBuffers.h"
#include "sonacore/StringOverloadBase.h"

#include <QMutex>

#include <complex>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace process::fft {

// The real forward FFT of one processor: frames of N = 2^order floats (order 1 to 27, N from 2 to
// 134217728), an optional Hann window, and the results as complex bins, magnitudes or powers.
//
// Scaling and layout: the transform is divided by N, so bin k is X[k] = (1/N) sum over n of
// w[n] x[n] exp(-2 pi i k n / N), with w the window when it is on and 1 otherwise. The packed result of the
// transform (bins 0 to N/2) is completed to all N bins by conjugation, X[N - k] = conj(X[k]), so every
// result operation sees N plain complex values. A power is re^2 + im^2 and a magnitude sqrt(re^2 + im^2) of
// such a bin, in single precision. The window is the symmetric Hann window w[n] = 0.5 - 0.5 cos(2 pi n /
// (N - 1)), both ends exactly 0, held as a table of N floats; it needs N of at least 4, so at order 1 the
// frame is transformed unwindowed.
//
// Memory: every buffer is allocated by setFftOrder, 64-byte aligned; calculate and the result operations
// allocate nothing of their own (only the caller's output vectors may grow). The constructor sets order 2.
//
// Failures are a false result and a log line (method name, the quoted object name, the text); nothing
// throws. A failed order change keeps the new order with buffers partly or wholly absent, and every
// calculate then fails until an order change succeeds.
//
// Threads: setFftOrder and calculate hold the object's mutex (not recursive) for their whole run, since the
// order may change from a configuration slot while a frame is being transformed. setWindowing, the result
// operations and the getters take no lock: the owner calls them under a lock of its own that also covers its
// calls of setFftOrder and calculate, so that none of them meets a change of order half-way.
class IppFft : public StringOverloadBase {
public:
    // Smallest and largest order. 2^27 complex floats (1 GiB) is the largest buffer the primitive layer's
    // allocators hand out.
    static constexpr std::size_t minimumFftOrder = 1;
    static constexpr std::size_t maximumFftOrder = 27;

    // Logs the primitive layer's identity ("Activated INTEL IPP module: ", its name, ", module version: ",
    // its version) under "ippVersionInfo", sets order 2 with the window off (so "Hann window deactivated!"
    // is logged), and then logs "Initialized" or "Initialization failed!" under "IppFft". The buffers bear
    // the same name.
    explicit IppFft(std::string name);
    // Frees every buffer (the buffers' base logs "Try to release the managed buffers...").
    ~IppFft() override;
    IppFft(const IppFft&) = delete;
    IppFft& operator=(const IppFft&) = delete;

    // Sets the frame length to 2^order, frees all buffers, allocates them anew and rebuilds the transform
    // object and, if the window is on, its table. Logs "FFT order is changed to: " and the order on success.
    // Failures:
    // - order outside 1 to 27: warns "FFT order is out of range ( 1 up to ", 27, "): " and the order; nothing
    //   changes;
    // - an allocation or the initialisation fails: warns "FFT order set to value '", the order, "'failed!";
    //   the new order and size are kept and the object cannot transform until a later order change succeeds;
    // - the window cannot be built (order 1): false, with the window switched off for this and every later
    //   order until setWindowing(true); the transform itself is ready.
    // True when the new order is fully in force.
    bool setFftOrder(std::size_t order);

    // True: fills the window table for the current length ("Hann window activated and will be applied!") and
    // returns whether it is in force; when the table cannot be built, warns "Failed to apply the Hann window!
    // Error message: " with the primitive's status text, switches the window off and returns false. False:
    // switches it off ("Hann window deactivated!") and returns true.
    bool setWindowing(bool active);

    // Transforms one frame of exactly fftSize floats. With the window on, the frame's elements are multiplied
    // by it in place, so the caller's frame comes back windowed. A frame of another length is refused before
    // anything is touched, with the warning "Input data vector size ' ", its length, "' don't equals the
    // predefined FFT size: ", fftSize, "! FFT calculation skipped!". A failing primitive (only after a failed
    // order change) gives false without a message.
    bool calculate(std::vector<float>& frame);

    // The results of the latest calculate, first `amount` values, where 0 or anything above fftSize means
    // fftSize (the upper half mirrors the lower). Before any calculate the buffer holds whatever its memory
    // held: allocation does not clear.
    //
    // Complex: empties `out`, then appends the bins. Warns "FFT output vector not initialized! Please ran the
    // FFT calculate method?" when there is no buffer, and "Failed to fill the vector by the FFT results!
    // Error message: " with the exception's text when `out` cannot grow.
    bool getFftResultsComplex(std::vector<std::complex<float>>& out, std::size_t amount);
    // Magnitudes and powers, each value times `factor`, where a factor of exactly 0.0 counts as 1.0. All N
    // values are converted whatever `amount`; then element i of `out` is overwritten where it exists and
    // appended where not, and a longer `out` keeps its tail. Warn "Magnitude conversion failed! Error
    // message: " or "Power value conversion failed! Error message: " with the status text when the conversion
    // fails, and "Failed to fill the result vector by the FFT results! Error message: " with the exception's
    // text when `out` cannot grow.
    bool getFftResultsMagnitude(std::vector<float>& out, std::size_t amount, float factor);
    bool getFftResultsPowerSpectrum(std::vector<float>& out, std::size_t amount, float factor);

    std::size_t getFftOrder() const;
    // Frame length in samples, 2^order.
    std::size_t getFftSize() const;
    bool isWindowingActive() const;

    // "IppFft: <name>\n\tFFT order: <order>\n\tFFT size: <size>\n\tWindowing active: <0|1>\n", followed by
    // "\tWindowing type: Hann\n" while the window is on.
    std::string toString() const override;

protected:
    // Copies the first `amount` (limited as above) values of `source` times `factor` into `out`, as the
    // magnitude and power results describe. A null source is refused with the warning "FFT buffer cannot be
    // initialized! No operation performed!".
    bool processResultData(const float* source, std::vector<float>& out, std::size_t amount, float factor);

private:
    void ippVersionInfo();
    // Sizes, allocates and builds the transform object for fftOrder; returns the status of the size query if
    // that failed, else that of the initialisation.
    IppStatus initializeFft();
    // Logs the initialisation's outcome at debug level; true for success.
    bool showFftInitializeMessage(IppStatus status);
    bool setWindowingFunction();
    // 0 or anything above fftSize becomes fftSize.
    std::size_t limitAmount(std::size_t amount) const;

    const std::string name;
    IppFftBuffers fftBuffers;
    std::size_t fftSize;
    std::size_t fftOrder;
    bool windowingActive;
    QMutex fftMutex;
    // The accurate variant of the transform.
    std::int32_t algorithmHint;
};

} // namespace process::fft
