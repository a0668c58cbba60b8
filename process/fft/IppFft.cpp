#include "process/fft/IppFft.h"

#include "ipp/ippcore.h"
#include "ipp/ippsfft.h"
#include "ipp/ippsvector.h"
#include "ipp/ippswindow.h"
#include "sonacore/Log.h"

#include <QMutexLocker>

#include <exception>
#include <utility>

namespace process::fft {

namespace {
// Forward scale 1/N, inverse unscaled.
constexpr int fftFlag = 1;
constexpr std::int32_t accurateAlgorithmHint = 2;
constexpr std::size_t constructionFftOrder = 2;
} // namespace

IppFft::IppFft(std::string name)
    : name(std::move(name)), fftBuffers(this->name), fftSize(1), fftOrder(1), windowingActive(false),
      algorithmHint(accurateAlgorithmHint) {
    ippVersionInfo();
    if (setFftOrder(constructionFftOrder)) {
        sonacore::log::debug("IppFft", sonacore::log::name(this->name), "Initialized");
    } else {
        sonacore::log::debug("IppFft", sonacore::log::name(this->name), "Initialization failed!");
    }
}

IppFft::~IppFft() = default;

void IppFft::ippVersionInfo() {
    const LibraryVersion* version = ippGetLibVersion();
    if (version == nullptr) {
        sonacore::log::warning("ippVersionInfo", sonacore::log::name(name),
                               "INTEL IPP module not available! Spectrum processor functionality",
                               " not guaranteed!");
        return;
    }
    sonacore::log::debug("ippVersionInfo", sonacore::log::name(name),
                         "Activated INTEL IPP module: ", version->name,
                         ", module version: ", version->version);
}

bool IppFft::setFftOrder(std::size_t order) {
    QMutexLocker locker(&fftMutex);
    // Order 0 wraps round to the largest value, so one comparison refuses both ends.
    if (order - minimumFftOrder > maximumFftOrder - minimumFftOrder) {
        sonacore::log::warning("setFftOrder", sonacore::log::name(name),
                               "FFT order is out of range ( 1 up to ", maximumFftOrder, "): ", order);
        return false;
    }
    fftOrder = order;
    fftSize = std::size_t{1} << order;
    fftBuffers.freeBuffers();
    // The transform object lived in the memory just freed; a failure below must leave no way to reach it.
    fftBuffers.fftSpec = nullptr;
    const bool allocated = fftBuffers.allocateAllIppBuffersFromSameSize(fftSize);
    const bool initialized = showFftInitializeMessage(initializeFft());
    if (!allocated || !initialized) {
        sonacore::log::warning("setFftOrder", sonacore::log::name(name), "FFT order set to value '", order,
                               "'failed!");
        return false;
    }
    sonacore::log::debug("setFftOrder", sonacore::log::name(name), "FFT order is changed to: ", order);
    // A window that failed before stays off: the order change only rebuilds what is in force.
    return setWindowing(windowingActive);
}

IppStatus IppFft::initializeFft() {
    int specSize = 0;
    int specBufferSize = 0;
    int workSize = 0;
    const IppStatus sizeStatus = ippsFFTGetSize_R_32f(static_cast<int>(fftOrder), fftFlag, algorithmHint,
                                                      &specSize, &specBufferSize, &workSize);
    // Sizes of 0 are normal for small orders: the allocation then leaves its slot null and only warns, and
    // the transform does without that buffer. A real shortage shows in the initialisation's status.
    fftBuffers.allocateBytes(slotOf(fftBuffers.specMemory), specSize);
    fftBuffers.allocateBytes(slotOf(fftBuffers.specBuffer), specBufferSize);
    fftBuffers.allocateBytes(slotOf(fftBuffers.workBuffer), workSize);
    if (sizeStatus != ippStsNoErr) {
        return sizeStatus;
    }
    return ippsFFTInit_R_32f(&fftBuffers.fftSpec, static_cast<int>(fftOrder), fftFlag, algorithmHint,
                             fftBuffers.specMemory, fftBuffers.specBuffer);
}

bool IppFft::showFftInitializeMessage(IppStatus status) {
    if (status != ippStsNoErr) {
        sonacore::log::debug(
            "showFftInitializeMessage", sonacore::log::name(name),
            "IPP FFT initialization failed! Error description: ", ippGetStatusString(status));
        return false;
    }
    sonacore::log::debug("showFftInitializeMessage", sonacore::log::name(name), "IPP FFT initialized");
    return true;
}

bool IppFft::setWindowing(bool active) {
    if (active) {
        setWindowingFunction();
        return windowingActive;
    }
    sonacore::log::debug("setWindowing", sonacore::log::name(name), "Hann window deactivated!");
    windowingActive = false;
    return true;
}

// The table is the window itself (ones multiplied by it), so each frame needs one vector multiply only.
bool IppFft::setWindowingFunction() {
    const int length = static_cast<int>(fftSize);
    IppStatus status = ippsSet_32f(1.0f, fftBuffers.windowBuffer, length);
    if (status == ippStsNoErr) {
        status = ippsWinHann_32f_I(fftBuffers.windowBuffer, length);
    }
    if (status != ippStsNoErr) {
        sonacore::log::warning(
            "setWindowingFunction", sonacore::log::name(name),
            "Failed to apply the Hann window! Error message: ", ippGetStatusString(status));
        windowingActive = false;
        return false;
    }
    windowingActive = true;
    sonacore::log::debug("setWindowingFunction", sonacore::log::name(name),
                         "Hann window activated and will be applied!");
    return true;
}

bool IppFft::calculate(std::vector<float>& frame) {
    QMutexLocker locker(&fftMutex);
    if (frame.size() != fftSize) {
        sonacore::log::warning("calculate", sonacore::log::name(name), "Input data vector size ' ",
                               frame.size(), "' don't equals the predefined FFT size: ", fftSize,
                               "! FFT calculation skipped!");
        return false;
    }
    const int length = static_cast<int>(fftSize);
    fftBuffers.inputBuffer = frame.data();
    IppStatus status = ippStsNoErr;
    if (windowingActive) {
        status = ippsMul_32f_I(fftBuffers.windowBuffer, fftBuffers.inputBuffer, length);
    }
    if (status == ippStsNoErr) {
        // The packed result, bins 0 to N/2, lands at the front of the N bins; the conjugation then fills the
        // upper half, so the result operations need no knowledge of the packing.
        status =
            ippsFFTFwd_RToCCS_32f(fftBuffers.inputBuffer, reinterpret_cast<float*>(fftBuffers.complexBuffer),
                                  fftBuffers.fftSpec, fftBuffers.workBuffer);
        if (status == ippStsNoErr) {
            status = ippsConjCcs_32fc_I(fftBuffers.complexBuffer, length);
        }
    }
    // The frame is the caller's: no pointer to it outlives the call.
    fftBuffers.inputBuffer = nullptr;
    return status == ippStsNoErr;
}

std::size_t IppFft::limitAmount(std::size_t amount) const {
    return (amount == 0 || amount > fftSize) ? fftSize : amount;
}

bool IppFft::getFftResultsComplex(std::vector<std::complex<float>>& out, std::size_t amount) {
    out.clear();
    if (fftBuffers.complexBuffer == nullptr) {
        sonacore::log::warning("getFftResultsComplex", sonacore::log::name(name),
                               "FFT output vector not initialized! Please ran the FFT calculate method?");
        return false;
    }
    const std::size_t limited = limitAmount(amount);
    try {
        out.insert(out.end(), fftBuffers.complexBuffer, fftBuffers.complexBuffer + limited);
    } catch (const std::exception& exception) {
        sonacore::log::warning(
            "getFftResultsComplex", sonacore::log::name(name),
            "Failed to fill the vector by the FFT results! Error message: ", exception.what());
        return false;
    }
    return true;
}

bool IppFft::getFftResultsMagnitude(std::vector<float>& out, std::size_t amount, float factor) {
    const IppStatus status =
        ippsMagnitude_32fc(fftBuffers.complexBuffer, fftBuffers.magnitudeBuffer, static_cast<int>(fftSize));
    if (status != ippStsNoErr) {
        sonacore::log::warning("getFftResultsMagnitude", sonacore::log::name(name),
                               "Magnitude conversion failed! Error message: ", ippGetStatusString(status));
        return false;
    }
    return processResultData(fftBuffers.magnitudeBuffer, out, amount, factor);
}

bool IppFft::getFftResultsPowerSpectrum(std::vector<float>& out, std::size_t amount, float factor) {
    const IppStatus status =
        ippsPowerSpectr_32fc(fftBuffers.complexBuffer, fftBuffers.powerBuffer, static_cast<int>(fftSize));
    if (status != ippStsNoErr) {
        sonacore::log::warning("getFftResultsPowerSpectrum", sonacore::log::name(name),
                               "Power value conversion failed! Error message: ", ippGetStatusString(status));
        return false;
    }
    return processResultData(fftBuffers.powerBuffer, out, amount, factor);
}

bool IppFft::processResultData(const float* source, std::vector<float>& out, std::size_t amount,
                               float factor) {
    if (source == nullptr) {
        sonacore::log::warning("processResultData", sonacore::log::name(name),
                               "FFT buffer cannot be initialized! No operation performed!");
        return false;
    }
    // A factor of 0 would silence the result; it is taken to mean "no factor".
    const float scale = factor == 0.0f ? 1.0f : factor;
    const std::size_t limited = limitAmount(amount);
    try {
        // Elements past the result that the vector already had stay as they are.
        if (out.size() < limited) {
            out.resize(limited);
        }
        float* target = out.data();
        for (std::size_t i = 0; i < limited; ++i) {
            target[i] = source[i] * scale;
        }
    } catch (const std::exception& exception) {
        sonacore::log::warning(
            "processResultData", sonacore::log::name(name),
            "Failed to fill the result vector by the FFT results! Error message: ", exception.what());
        return false;
    }
    return true;
}

std::size_t IppFft::getFftOrder() const {
    return fftOrder;
}

std::size_t IppFft::getFftSize() const {
    return fftSize;
}

bool IppFft::isWindowingActive() const {
    return windowingActive;
}

std::string IppFft::toString() const {
    std::string text = "IppFft: " + name + "\n";
    text += "\tFFT order: " + std::to_string(fftOrder) + "\n";
    text += "\tFFT size: " + std::to_string(fftSize) + "\n";
    text += "\tWindowing active: " + std::string(windowingActive ? "1" : "0") + "\n";
    if (windowingActive) {
        text += "\tWindowing type: Hann\n";
    }
    return text;
}

} // namespace process::fft
