#include "process/SoundLevelValueProcessor.h"

#include "avb/AvbAudioBuffer.h"
#include "ipp/ippsiir.h"
#include "ipp/ippsmemory.h"
#include "ipp/ippsvector.h"
#include "process/SoundLevelValueConfig.h"
#include "sonacore/ChannelData.h"
#include "sonacore/ISoundLevelValueConfig.h"
#include "sonacore/Log.h"
#include "sonacore/VectorData.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>

namespace process {

namespace {

constexpr const char* internalClockName = "InternalClock";

// The A-weighting cascade at 48000 Hz, three sections of b0, b1, b2, a0, a1, a2. Every value is a
// single-precision number widened to double; they stay exactly so, since the levels that hosts compare
// depend on them.
constexpr std::array<double, 18> aWeightingTaps{0.10307251662015915,   -0.07544908672571182,
                                                -0.027623435482382774, 1.0,
                                                -1.9946142435073853,   0.9946214556694031,
                                                1.183416724205017,     -2.366833448410034,
                                                1.183416724205017,     1.0,
                                                -1.89385986328125,     0.8951497673988342,
                                                4.769514083862305,     -3.4912843704223633,
                                                -1.278229832649231,    1.0,
                                                -0.22457602620124817,  0.012608597986400127};

// The C-weighting cascade at 48000 Hz, two sections, in the same layout.
constexpr std::array<double, 12> cWeightingTaps{0.10307244956493378,   -0.07544903457164764,
                                                -0.027623416855931282, 1.0,
                                                -1.994612216949463,    0.9946195483207703,
                                                4.780937671661377,     -3.4996461868286133,
                                                -1.2812912464141846,   1.0,
                                                -0.22422178089618683,  0.012568851001560688};

// Exponential time weighting at 48000 Hz: the weight of a new squared sample and of the old state.
// Fast: exp(-1 / (48000 x 0.125)), a 125 ms time constant. Slow: exp(-1 / 48000), 1 s.
constexpr double fastNewWeight = 0.000166652779;
constexpr double fastOldWeight = 0.999833347221;
constexpr double slowNewWeight = 2.0833116e-05;
constexpr double slowOldWeight = 0.999979166884;

// The places of the value types in the state, maxima and delivered vectors.
constexpr std::size_t aFast = 0;
constexpr std::size_t aSlow = 1;
constexpr std::size_t cFast = 2;
constexpr std::size_t cSlow = 3;
constexpr std::size_t zFast = 4;
constexpr std::size_t zSlow = 5;
constexpr std::size_t fullScale = 6;

// An empty vector is handed to the primitives as a null pointer, which they refuse before the length, so
// that an empty block always reports ippStsNullPtrErr whatever the vector's storage.
template <typename T> T* dataOrNull(std::vector<T>& values) {
    return values.empty() ? nullptr : values.data();
}

template <typename T> const T* dataOrNull(const std::vector<T>& values) {
    return values.empty() ? nullptr : values.data();
}

} // namespace

const SoundLevelValueProcessor::Primitives SoundLevelValueProcessor::libraryPrimitives{
    &ippsIIRGetStateSize_BiQuad_64f, &ippsIIRInit_BiQuad_64f, &ippsIIR_64f, &ippsSqr_64f};

SoundLevelValueProcessor::Primitives SoundLevelValueProcessor::primitives{
    &ippsIIRGetStateSize_BiQuad_64f, &ippsIIRInit_BiQuad_64f, &ippsIIR_64f, &ippsSqr_64f};

Processor* SoundLevelValueProcessor::create(std::string name, ProcessorConfigBase& configuration,
                                            avb::AvbAudioBuffer& buffer) {
    SoundLevelValueConfig& soundLevelConfig = SoundLevelValueConfig::fromBase(configuration);
    auto* processor = new SoundLevelValueProcessor(std::move(name), &soundLevelConfig, &buffer, nullptr);
    // Still on the building thread, so the handlers run directly and the processor stands complete before
    // its socket moves it away.
    soundLevelConfig.notifyAllParameters();
    return processor;
}

SoundLevelValueProcessor::SoundLevelValueProcessor(std::string name, SoundLevelValueConfig* configuration,
                                                   avb::AvbAudioBuffer* buffer, QObject* parent)
    : SampleProcessorBase(std::move(name), configuration, buffer, parent),
      soundLevelValueConfiguration(configuration), aFilterState(nullptr), aFilterBuffer(nullptr),
      aFilterTaps(aWeightingTaps), cFilterState(nullptr), cFilterBuffer(nullptr), accumulatedSamples(0),
      blockFactor(6), cFilterTaps(cWeightingTaps) {
    configuration->notifyAllParameters();
    sonacore::log::debug("SoundLevelValueProcessor", sonacore::log::name(getWorkerName()), "Initialized");
}

// The states live inside the buffers and go with them.
SoundLevelValueProcessor::~SoundLevelValueProcessor() {
    ippsFree(aFilterBuffer);
    ippsFree(cFilterBuffer);
}

SoundLevelValueConfig* SoundLevelValueProcessor::getSoundLevelValueConfiguration() const {
    return soundLevelValueConfiguration;
}

const std::array<double, 6 * SoundLevelValueProcessor::aFilterSections>&
SoundLevelValueProcessor::getAFilterTaps() const {
    return aFilterTaps;
}

const std::array<double, 6 * SoundLevelValueProcessor::cFilterSections>&
SoundLevelValueProcessor::getCFilterTaps() const {
    return cFilterTaps;
}

const std::vector<double>& SoundLevelValueProcessor::getLevelStates() const {
    return levelStates;
}

std::size_t SoundLevelValueProcessor::getAccumulatedSamples() const {
    return accumulatedSamples;
}

bool SoundLevelValueProcessor::hasFilters() const {
    return aFilterState != nullptr && cFilterState != nullptr;
}

void SoundLevelValueProcessor::calculate(std::string bufferName) {
    calculate(std::move(bufferName), 0);
}

void SoundLevelValueProcessor::calculate() {
    calculate(internalClockName, 0);
}

// Freeing a buffer also ends the state inside it, so both state pointers are cleared with their buffers: a
// set-up that fails half way then leaves a cascade unbuilt, never pointing into freed memory.
void SoundLevelValueProcessor::initFilter() {
    ippsFree(aFilterBuffer);
    aFilterBuffer = nullptr;
    aFilterState = nullptr;
    ippsFree(cFilterBuffer);
    cFilterBuffer = nullptr;
    cFilterState = nullptr;

    int size = 0;
    IppStatus status = primitives.iirGetStateSize(aFilterSections, &size);
    if (status != ippStsNoErr) {
        sonacore::log::warning("initFilter", sonacore::log::name(getWorkerName()),
                               "[1] IPP init error (A-WEIGHT):", status);
    }
    aFilterBuffer = ippsMalloc_8u(size);

    status = primitives.iirGetStateSize(cFilterSections, &size);
    if (status != ippStsNoErr) {
        sonacore::log::warning("initFilter", sonacore::log::name(getWorkerName()),
                               "[2] IPP init Error (TAPS):", status);
    }
    cFilterBuffer = ippsMalloc_8u(size);

    // Null delay lines: both cascades start from rest.
    status = primitives.iirInit(&aFilterState, aFilterTaps.data(), aFilterSections, nullptr, aFilterBuffer);
    if (status != ippStsNoErr) {
        sonacore::log::warning("initFilter", sonacore::log::name(getWorkerName()),
                               "[3] IPP init error (A-WEIGHT):", status);
    }
    status = primitives.iirInit(&cFilterState, cFilterTaps.data(), cFilterSections, nullptr, cFilterBuffer);
    if (status != ippStsNoErr) {
        sonacore::log::warning("initFilter", sonacore::log::name(getWorkerName()),
                               "[4] IPP init error (C-WEIGHT):", status);
    }
}

// The trigger that builds the filters stands for its signal all the same, so the blocks that follow are
// those of the signals after it; without this every later block would lag one signal behind.
void SoundLevelValueProcessor::passOverSignaledBlock() {
    if (configuration->isInternalClock()) {
        return;
    }
    std::uint64_t taken = signalCursor.load();
    if (taken < buffer->getSignalSerial()) {
        // A start in the meantime has set the cursor anew, and its value stands.
        signalCursor.compare_exchange_strong(taken, taken + 1);
    }
}

void SoundLevelValueProcessor::calculate(std::string bufferName, std::size_t sampleAmount) {
    static_cast<void>(bufferName);
    if (!isActive()) {
        return;
    }
    // Building the filters costs this trigger: it fetches nothing and counts nothing.
    if (aFilterState == nullptr || cFilterState == nullptr) {
        initFilter();
        passOverSignaledBlock();
        return;
    }

    // Every trigger takes its block, so that the block of the one that completes the count is the one its
    // signal delimits; the others' blocks are dropped.
    std::vector<float> samples;
    if (!fetchBlockForClock(samples)) {
        return;
    }
    accumulatedSamples += sampleAmount;
    if (accumulatedSamples < sampleAmount * blockFactor) {
        return;
    }

    // The configuration's amount and the accumulated amount need not agree; the block takes the
    // accumulated one, silence filling what the fetch lacks.
    samples.resize(accumulatedSamples, 0.0f);
    const std::size_t blockLength = samples.size();
    const int length = static_cast<int>(blockLength);
    const std::vector<double> source(samples.begin(), samples.end());
    std::vector<double> filtered(blockLength);
    std::vector<double> squared(blockLength);
    const std::size_t valueCount = sonacore::iprocess::soundLevelValueTypes.size();
    if (levelStates.size() < valueCount) {
        levelStates.resize(valueCount, 0.0);
    }
    std::vector<double> maxima(valueCount, 0.0);

    IppStatus status = primitives.iir(dataOrNull(source), dataOrNull(filtered), length, aFilterState);
    if (status != ippStsNoErr) {
        reportCalculateFailure("[1] IPP IIR filter error (A-WEIGHT):", status);
        return;
    }
    status = primitives.sqr(dataOrNull(filtered), dataOrNull(squared), length);
    if (status != ippStsNoErr) {
        reportCalculateFailure("[2] IPP SQR error (A-WEIGHT):", status);
        return;
    }
    weightPath(squared, aFast, aSlow, maxima);

    // The C filter's status goes unchecked: an A filter that has just run on the same block has already
    // vouched for the pointers and the length.
    static_cast<void>(primitives.iir(dataOrNull(source), dataOrNull(filtered), length, cFilterState));
    status = primitives.sqr(dataOrNull(filtered), dataOrNull(squared), length);
    if (status != ippStsNoErr) {
        reportCalculateFailure(" [4] IPP SQR error (C-WEIGHT):", status);
        return;
    }
    weightPath(squared, cFast, cSlow, maxima);

    status = primitives.sqr(dataOrNull(source), dataOrNull(squared), length);
    if (status != ippStsNoErr) {
        reportCalculateFailure("[5] IPP SQR error (Z-WEIGHT):", status);
        return;
    }
    weightPath(squared, zFast, zSlow, maxima);

    // dBFS is the unweighted fast level, copied before the logarithm so that the two are always equal.
    maxima[fullScale] = maxima[zFast];

    // Reference 1.0, a full-scale value squared; 0 gives negative infinity on purpose, there is no floor.
    std::vector<double> decibels(maxima);
    for (double& value : decibels) {
        value = 10.0 * std::log10(value);
    }
    xValues.resize(valueCount);
    yValues.resize(valueCount);
    std::copy(decibels.begin(), decibels.end(), yValues.begin());
    emit newProcessData(sonacore::ChannelData(getWorkerName(), sonacore::VectorData(xValues, yValues)));
    accumulatedSamples = 0;
}

// The states are updated in place sample by sample, in this order, and the maxima are strict: the block's
// figure is the largest value the level reached in the block, not its last.
void SoundLevelValueProcessor::weightInTime(const double* squared, std::size_t length, double& fastState,
                                            double& slowState, double& fastMaximum, double& slowMaximum) {
    double fast = fastState;
    double slow = slowState;
    double fastPeak = fastMaximum;
    double slowPeak = slowMaximum;
    for (std::size_t i = 0; i < length; ++i) {
        const double value = squared[i];
        fast = fast * fastOldWeight + value * fastNewWeight;
        slow = slow * slowOldWeight + value * slowNewWeight;
        if (fast > fastPeak) {
            fastPeak = fast;
        }
        if (slow > slowPeak) {
            slowPeak = slow;
        }
    }
    fastState = fast;
    slowState = slow;
    fastMaximum = fastPeak;
    slowMaximum = slowPeak;
}

void SoundLevelValueProcessor::weightPath(const std::vector<double>& squared, std::size_t fast,
                                          std::size_t slow, std::vector<double>& maxima) {
    weightInTime(squared.data(), squared.size(), levelStates[fast], levelStates[slow], maxima[fast],
                 maxima[slow]);
}

void SoundLevelValueProcessor::reportCalculateFailure(const char* text, IppStatus status) const {
    sonacore::log::warning("calculate", sonacore::log::name(getWorkerName()), text, status,
                           "size=", accumulatedSamples);
}

} // namespace process
