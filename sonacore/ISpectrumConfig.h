#pragma once

#include "sonacore/ISampleProcessorConfigBase.h"
#include "sonacore/SonaCoreExport.h"

#include <cstddef>
#include <string>

namespace sonacore::iprocess {

// The settings of a spectrum processor, which turns one channel's samples into a power spectrum once per
// calculation.
//
// What a host receives per calculation: x holds the bin numbers 0.0 to N/2 - 1 and y the linear power of
// each bin, re² + im² of a forward FFT scaled by 1/N over one Hann-windowed frame of N = 2^order samples,
// multiplied by getPowerSpectrumFactor() (5.334). No decibels, no hertz and no Nyquist bin: bin k lies at
// k · rate / N Hz for a stream of the given rate. With the moving average on, y is the mean of the latest
// window of spectra instead.
//
// The FFT order decides the samples per calculation: the configuration sets the sample amount to 2^order
// itself, and setSampleAmount is ignored with a warning.
//
// Thread affinity: the setters are meant for the host's thread; each change is announced to the running
// processor, which rebuilds its transform or its averaging window before its next calculation. The getters
// may be read from any thread. Create it on the host's thread (the registry has no lock). None of these
// calls throws: a refused value is a warning and leaves the stored settings as they were.
class SONACORE_EXPORT ISpectrumConfig : public ISampleProcessorConfigBase {
public:
    // Clocked by the audio buffer's signal: a calculation each time the buffer's signalling amount of new
    // samples has arrived, on the 2^order samples that end there. sampleAmount is replaced by the FFT
    // order's frame length (order 14, 16384 samples, at creation). Owned by the library until
    // ISonaCore::destroy(); never null.
    static ISpectrumConfig* createInstance(std::string name, unsigned long sampleAmount);
    // Clocked by a timer: a calculation every refreshRate milliseconds on the newest 2^order samples. A rate
    // of 0 is refused with the warning "The given refresh rate is invalid! External clock will be
    // activated!", and the buffer's signal clocks instead. Otherwise as above.
    static ISpectrumConfig* createInstance(std::string name, unsigned long sampleAmount,
                                           unsigned long refreshRate);

    ~ISpectrumConfig() override;

    // log2 of the frame length; 14 at creation.
    virtual std::size_t getFftOrder() const = 0;
    // A new FFT order. The same value is ignored silently; 0 is refused with the warning "FFT order zero not
    // supported! Please pass a valid order value" and changes nothing. Any other value is stored, with the
    // frame length 2^order as the new sample amount. The processor accepts orders 1 to 27: above that it
    // keeps its old transform, warns, and delivers nothing until a valid order is set. Order 1 transforms
    // without the window.
    virtual void setFftOrder(std::size_t order) = 0;
    // The frame length in samples, 2^order.
    virtual std::size_t getFftSize() const = 0;
    // A new frame length. A value that is not a power of two (0 included) is refused with the warnings "Value
    // is no power of two: <size>" and "Invalid FFT size set! Size ignored: <size>"; otherwise the same as
    // setFftOrder(log2(size)), so 1 ends in the refusal of order 0.
    virtual void setFftSize(std::size_t size) = 0;
    // The multiplier of every delivered power value: 5.334, whatever the order or window.
    virtual float getPowerSpectrumFactor() const = 0;
    // Switches the moving average over the delivered spectra on or off (off at creation). Switching it off
    // clears the averaging history.
    virtual void setMovingAverageActivity(bool active) = 0;
    virtual bool getMovingAverageActivity() const = 0;
    // The averaging window as a number of spectra (16 at creation). A value of 1 or less switches the
    // averaging off with the warning "Moving average window size is too small! Filter deactivated". A
    // change clears the averaging history.
    virtual void setMovingAverageWindowSize(std::size_t size) = 0;
    virtual std::size_t getMovingAverageWindowSize() const = 0;
    // The averaging window as a time in milliseconds (10000 at creation). The processor turns it into a
    // number of spectra by the time between two calculations (the timer's period, or the buffer's signalling
    // amount / 48 under the buffer's signal), rounding down.
    virtual void setMovingAverageWindowLength(std::size_t length) = 0;
    virtual std::size_t getMovingAverageWindowLength() const = 0;
};

} // namespace sonacore::iprocess
