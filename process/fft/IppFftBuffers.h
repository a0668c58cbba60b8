#pragma once

#include "ipp/ipptypes.h"
#include "process/fft/IppFftBufferManager.h"

#include <complex>
#include <cstddef>
#include <string>

namespace process::fft {

// The buffers of one real FFT of N = fftSize points, as pointer slots that start null and that the manager
// base frees together (and sets to null again). IppFft owns one by value and fills it in setFftOrder; nothing
// else allocates into it.
//
// Ownership of the slots: the five frame-sized buffers and the three byte buffers are managed (freed by the
// base). inputBuffer points at the caller's frame during a calculation and fftSpec into specMemory: neither
// is allocated here nor managed, and both are only views.
//
// Threads: no lock; IppFft reaches it under its own.
class IppFftBuffers : public IppFftBufferManager {
public:
    // Logs "Initialized" at debug level, after the base's own line.
    explicit IppFftBuffers(std::string name);
    ~IppFftBuffers() override;

    // Allocates magnitudeBuffer, powerBuffer and windowBuffer as `size` floats, then complexBuffer as `size`
    // complex floats, and stops at the first failure. A size beyond the range of int is refused by the
    // allocators as too large. On success logs at debug level "FFT Buffers allocated by size: ", `size`,
    // " samples". On failure warns "Cannot set the IPP buffers to size: ", `size`, "! Allocation failed!";
    // the buffers allocated before the failure stay allocated and managed, and a slot that already held a
    // buffer counts as a failure (it is never overwritten). Call freeBuffers first to change the size.
    bool allocateAllIppBuffersFromSameSize(std::size_t size);

    // "IppFftBuffers: <name>\n" followed by the manager's text.
    std::string toString() const override;

    // The frame being transformed, borrowed from the caller; not allocated, not managed.
    float* inputBuffer = nullptr;
    // N complex values: the transform's N/2 + 1 bins (CCS), completed to all N bins by conjugation.
    std::complex<float>* complexBuffer = nullptr;
    // N floats each: the magnitudes, the powers and the Hann window table.
    float* magnitudeBuffer = nullptr;
    float* powerBuffer = nullptr;
    float* windowBuffer = nullptr;
    // Scratch of each transform, scratch of the initialisation and the memory of the transform object, as
    // many bytes as ippsFFTGetSize_R_32f reports (a size of 0 leaves the slot null).
    unsigned char* workBuffer = nullptr;
    unsigned char* specBuffer = nullptr;
    unsigned char* specMemory = nullptr;
    // The transform object built inside specMemory; not managed.
    FftSpec* fftSpec = nullptr;
};

} // namespace process::fft
