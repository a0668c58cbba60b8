#pragma once

#include "ipp/ipptypes.h"
#include "process/SampleProcessorBase.h"

#include <QObject>

#include <array>
#include <cstddef>
#include <string>
#include <vector>

namespace avb {
class AvbAudioBuffer;
} // namespace avb

namespace process {

class ProcessorConfigBase;
class SoundLevelValueConfig;

// The level meter of one channel. Each block of samples runs through an A-weighting cascade (3 biquad
// sections), a C-weighting cascade (2 sections) and an unweighted path; each path is squared and weighted in
// time per sample, fast (125 ms) and slow (1 s). A delivery carries, for each of the seven value types of
// sonacore::iprocess::soundLevelValueTypes, 10 log10 of the largest time-weighted mean square within the
// block, in dB re full scale squared (a constant 1.0 settles at 0 dB; no calibration offset). y holds the
// values at the types' indices (0 dBA fast, 1 dBA slow, 2 dBC fast, 3 dBC slow, 4 dBZ fast, 5 dBZ slow,
// 6 dBFS = dBZ fast); x is seven zeros. Digital silence gives negative infinity: there is no floor.
//
// All arithmetic is in double. The taps and the time constants are fixed for 48000 Hz; a stream of another
// rate is measured with the same ones, and its figures shift accordingly.
//
// Blocks. Every calculation is a trigger carrying an amount of samples (the buffer's signalling amount under
// the external clock, 0 for a tick of the internal clock). The first trigger after construction only builds
// the filters. The others add their amount to accumulatedSamples, and once that reaches six times the
// latest trigger's amount, the block of N = accumulatedSamples samples is processed: the configuration's
// sample amount fetched at this trigger, cut to N or padded with zeros to N. So an even trigger size gives a
// delivery every sixth trigger, and uneven sizes may pass at once or after more than six triggers.
//
// Clocks. Under the external clock each trigger takes the block of one buffer signal, each signal exactly
// once and in order, however far the worker falls behind (within the buffer's signal history). The trigger
// that builds the filters passes over the block of its signal; a calculation whose signal came before the
// start takes nothing and is no trigger. Under the internal clock a tick carries 0 samples and passes the
// threshold at once with what has accumulated, normally nothing: the block is empty, the A filter refuses it
// and each tick logs "[1] IPP IIR filter error (A-WEIGHT):" with -8 and "size=" 0. Levels exist only under
// the external clock.
//
// State. The time-weighted states (levelStates) and the delay lines of both cascades run on across blocks
// and across stop and start; only destruction ends them. The maxima are per block, so a level that decays
// within a block reports its value from the start of the block.
//
// Failures, all logged at warning level under "calculate" with the object's name, the text, the status in
// decimal, "size=" and accumulatedSamples: "[1] IPP IIR filter error (A-WEIGHT):", "[2] IPP SQR error
// (A-WEIGHT):", " [4] IPP SQR error (C-WEIGHT):", "[5] IPP SQR error (Z-WEIGHT):". Each ends the call:
// nothing is delivered, accumulatedSamples is kept (the next trigger works on a larger block), and a time
// weighting that already ran in the call stays applied. The status of the C filter is not checked. A failed
// filter set-up (see initFilter) leaves the filters unbuilt, so the next trigger builds them again and
// delivers nothing. The vectors of a block are allocated anew for each block; std::bad_alloc passes through.
//
// Threads: every calculate and initFilter run on the worker thread and never overlap; the class takes no
// lock. Ownership: owns the filters' memory; owns neither the configuration nor the buffer.
class SoundLevelValueProcessor : public SampleProcessorBase {
    Q_OBJECT

public:
    // The signal primitives that initFilter and calculate call. They sit in one table so that a test can
    // provoke the failures that the real primitives never give for these taps; replace it only while no
    // sound level processor calculates. Initially the primitives of the library.
    struct Primitives {
        IppStatus (*iirGetStateSize)(int numBq, int* size);
        IppStatus (*iirInit)(IirState** state, const double* taps, int numBq, const double* delayLine,
                             unsigned char* buffer);
        IppStatus (*iir)(const double* source, double* destination, int length, IirState* state);
        IppStatus (*sqr)(const double* source, double* destination, int length);
    };
    static Primitives primitives;
    // The library's primitives, to restore the table with.
    static const Primitives libraryPrimitives;

    // The number of biquad sections of each cascade.
    static constexpr int aFilterSections = 3;
    static constexpr int cFilterSections = 2;

    // The factory's definition for "SoundLevelValueProcessor": converts the configuration (a configuration
    // of another type is warned about and throws exceptions::InstanceNotConvertable), builds the processor
    // without a parent and replays the configuration, so that its vectors are sized and its clock source is
    // linked when this returns. The caller takes the processor over.
    static Processor* create(std::string name, ProcessorConfigBase& configuration,
                             avb::AvbAudioBuffer& buffer);

    // Copies the taps in, leaves the filters unbuilt, replays the configuration through its
    // notifyAllParameters() and logs "Initialized" under "SoundLevelValueProcessor".
    SoundLevelValueProcessor(std::string name, SoundLevelValueConfig* configuration,
                             avb::AvbAudioBuffer* buffer, QObject* parent);
    // Frees the memory of both filters.
    ~SoundLevelValueProcessor() override;

    SoundLevelValueConfig* getSoundLevelValueConfiguration() const;
    // Inspection while no calculation can run (before the start, or from the worker thread).
    const std::array<double, 6 * aFilterSections>& getAFilterTaps() const;
    const std::array<double, 6 * cFilterSections>& getCFilterTaps() const;
    // The time-weighted mean squares by value type index; empty before the first processed block.
    const std::vector<double>& getLevelStates() const;
    std::size_t getAccumulatedSamples() const;
    // True once both cascades are built.
    bool hasFilters() const;

    // The fast and the slow time weighting of one path over `length` squared samples, in order, in double:
    // each state becomes state x old weight + square x new weight (fast: 0.999833347221 and 0.000166652779,
    // a 125 ms time constant at 48000 Hz; slow: 0.999979166884 and 2.0833116e-05, 1 s), and each maximum
    // takes its state whenever the state is strictly greater. Length 0 changes nothing. A function of its
    // arguments alone, so that it can be timed apart.
    static void weightInTime(const double* squared, std::size_t length, double& fastState, double& slowState,
                             double& fastMaximum, double& slowMaximum);

public slots:
    // One trigger (see Blocks above). Does nothing while inactive. bufferName isn't read; sampleAmount is
    // the trigger's amount of samples.
    void calculate(std::string bufferName, std::size_t sampleAmount) override;
    // Forwards with sampleAmount 0.
    void calculate(std::string bufferName);
    // The internal clock arrives here; forwards with "InternalClock" and 0.
    void calculate();

private:
    // Frees and rebuilds both cascades, starting from zero delay lines. Each failing status is logged at
    // warning level under "initFilter" with the object's name, the text and the status in decimal, and the
    // set-up goes on regardless: "[1] IPP init error (A-WEIGHT):" and "[2] IPP init Error (TAPS):" for the
    // state sizes of A and C, "[3] IPP init error (A-WEIGHT):" and "[4] IPP init error (C-WEIGHT):" for the
    // two initialisations. A cascade whose initialisation fails stays unbuilt.
    void initFilter();
    // Under the external clock, marks the block of the next untaken signal as taken without fetching it.
    void passOverSignaledBlock();
    // Runs the time weighting of one path over `squared` on the states and the block's maxima at the
    // indices `fast` and `slow`.
    void weightPath(const std::vector<double>& squared, std::size_t fast, std::size_t slow,
                    std::vector<double>& maxima);
    // Logs a failure of calculate.
    void reportCalculateFailure(const char* text, IppStatus status) const;

    SoundLevelValueConfig* const soundLevelValueConfiguration;
    IirState* aFilterState;
    unsigned char* aFilterBuffer;
    const std::array<double, 6 * aFilterSections> aFilterTaps;
    IirState* cFilterState;
    unsigned char* cFilterBuffer;
    std::vector<double> levelStates;
    std::size_t accumulatedSamples;
    const std::size_t blockFactor;
    const std::array<double, 6 * cFilterSections> cFilterTaps;
};

} // namespace process
