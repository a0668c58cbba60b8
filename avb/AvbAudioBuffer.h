#pragma once

#include "avb/AvbToFloatSampleConverter.h"
#include "sonacore/BufferConfiguration.h"

#include <QObject>

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

namespace avb {

// The most recent samples of one channel of one streaming device, as floats in a ring of fixed size.
//
// Writer: the capture thread of the device's adapter, one sample at a time. Readers: any thread, any number,
// through the fetch operations; the buffer keeps no record of what a reader has seen. A writer never waits
// for a reader: a slow reader may find samples overwritten, and nothing reports it.
//
// Every operation on the ring holds bufferMutex, a plain (not recursive) mutex. bufferAmountAvailable is
// emitted with it held, so its receivers must live on other threads (queued connection): a slot running on
// the capture thread and calling a fetch would deadlock.
//
// No configuration makes the buffer read or write outside its ring:
// - The ring's size is read once, at construction, and never changes. A configuration of size 0 cannot be
//   made, but should one reach the buffer all the same (or none at all), the ring has no element: a write
//   stores nothing, counts nothing and signals nothing, and a fetch returns no sample (a request for more
//   than 0 is logged as oversized).
// - A fetch of more samples than the ring holds is logged and cut down to the ring's size.
// - A signalling amount above the ring's size still signals every amount written samples; the block that
//   ends at the signal is then only held in its last size samples, and a fetch of the whole block is cut
//   down to those.
class AvbAudioBuffer : public QObject {
    Q_OBJECT

public:
    // Sizes the ring from the configuration's buffer size (zeros), and follows the configuration's changes
    // of the signalling amount. The configuration is shared by all channels of a device and must outlive
    // the buffer; null gives a ring without elements that never signals.
    AvbAudioBuffer(std::string bufferName, sonacore::BufferConfiguration* bufferConfiguration);
    ~AvbAudioBuffer() override;

    // Stores one sample after the newest. Every time the configured signalling amount of samples has been
    // written since the latest signal (or the latest change of the amount), emits bufferAmountAvailable.
    // A null sample, or a ring without elements, stores nothing.
    void writeSample(const float* sample);
    void writeSamples(const std::vector<float>& samples);

    // The `amount` samples before the newest position, oldest first. At most the ring's size (a larger
    // request is logged and cut down); before the ring has filled, zeros stand in front of the data.
    std::vector<float> fetchSamples(std::uint64_t amount);
    // The `amount` samples that end at the latest signal, oldest first.
    std::vector<float> fetchSignaledSamples(std::uint64_t amount);
    // The `amount` samples that end just before `position`, oldest first.
    std::vector<float> fetchSamples(std::uint64_t amount, std::uint64_t position);

    // How many signals the buffer has sent, counted from 1; 0 before the first.
    std::uint64_t getSignalSerial() const;
    // The `amount` samples that end at the signal numbered `serial`, for a reader that takes every block in
    // turn and so may be some signals behind the writer. The positions of the latest signalHistory signals
    // are kept; an older or a future serial gives the block of the latest signal.
    std::vector<float> fetchSignaledSamples(std::uint64_t amount, std::uint64_t serial);

    // How many signal positions are kept: at one signal per millisecond, a reader may fall a second behind.
    static constexpr std::uint64_t signalHistory = 1024;

    sonacore::BufferConfiguration* getBufferConfiguration() const;
    std::string getBufferName() const { return bufferName; }
    // Index after the newest sample: 0 before the first write, then 1 to the size.
    std::uint64_t getWritePosition() const;
    // Whether the latest fetch crossed the end of the ring.
    bool hasFetchWrapped() const;

signals:
    // Emitted on the writer's thread, with bufferMutex held, once every `amount` written samples while
    // signalling is on. Carries the buffer's name and the signalling amount.
    void bufferAmountAvailable(std::string bufferName, std::size_t amount);

protected slots:
    // Restarts the count towards the next signal when the signalling amount changes. Runs on the buffer's
    // own thread; takes bufferMutex, so the restart is never torn against the writer.
    void sampleAmountConfigChanged(std::string changedParameter);

private:
    // The copy of every fetch; bufferMutex must be held.
    std::vector<float> fetchLocked(std::uint64_t amount, std::uint64_t position);

    const std::string bufferName;
    sonacore::BufferConfiguration* const bufferConfiguration;
    std::uint64_t signaledPosition = 0;
    std::uint64_t samplesSinceSignal = 0;
    std::vector<float> samples;
    std::uint64_t writePosition = 0;
    mutable std::mutex bufferMutex;
    bool fetchWrapped = false;
    std::uint64_t signalSerial = 0;
    std::vector<std::uint64_t> signalPositions = std::vector<std::uint64_t>(signalHistory, 0);
};

} // namespace avb
