#pragma once

// Helpers of the sound level tests: test signals, and a processor on its own thread fed through a real audio
// buffer, next to the independent long-double meter it is held against.

#include "avb/AvbAudioBuffer.h"
#include "process/ProcessConnection.h"
#include "process/ProcessingTestSupport.h"
#include "process/SoundLevelValueConfig.h"
#include "process/SoundLevelValueProcessor.h"
#include "sonacore/BufferConfiguration.h"
#include "support/EventLoop.h"
#include "support/SoundLevelReference.h"
#include "threading/Controller.h"

#include <QObject>

#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace soundleveltest {

// The long-double meter and its schedule of blocks, shared with the end-to-end tests.
using soundlevelreference::aWeightingTaps;
using soundlevelreference::cWeightingTaps;
using soundlevelreference::expectedBlocks;
using soundlevelreference::expectedLevels;
using soundlevelreference::fastOldWeight;
using soundlevelreference::Levels;
using soundlevelreference::ReferenceCascade;
using soundlevelreference::ReferenceMeter;
using soundlevelreference::responseDecibels;
using soundlevelreference::sampleRate;
using soundlevelreference::slowOldWeight;
using soundlevelreference::valueCount;

inline std::vector<float> sine(std::size_t n, double frequency, double amplitude, double rate = sampleRate) {
    const double pi = 3.141592653589793;
    std::vector<float> samples(n);
    for (std::size_t i = 0; i < n; ++i) {
        samples[i] =
            static_cast<float>(amplitude * std::sin(2.0 * pi * frequency * static_cast<double>(i) / rate));
    }
    return samples;
}

inline std::vector<float> noise(std::size_t n, std::uint32_t seed, float amplitude = 1.0f) {
    std::mt19937 generator(seed);
    std::uniform_real_distribution<float> distribution(-amplitude, amplitude);
    std::vector<float> samples(n);
    for (float& sample : samples) {
        sample = distribution(generator);
    }
    return samples;
}

// A sound level processor built by its creation function, on a thread of its own, fed through a real audio
// buffer on the test's thread; its deliveries reach a collector on the test's thread.
class SoundLevelRig {
public:
    SoundLevelRig(process::SoundLevelValueConfig& configuration, std::uint64_t bufferSize,
                  std::uint64_t signallingAmount)
        : bufferConfiguration("buffer configuration", bufferSize, signallingAmount),
          buffer("00a0c9112233_Ch0", &bufferConfiguration) {
        processingtest::registerTypes();
        processor = static_cast<process::SoundLevelValueProcessor*>(
            process::SoundLevelValueProcessor::create("P", configuration, buffer));
        QObject::connect(processor, &process::Processor::newProcessData, &connection,
                         &process::ProcessConnection::signalToCallbackConnector, Qt::AutoConnection);
        connection.setCallbackMethod(deliveries.callback());
        controller = std::make_unique<threading::Controller>(processor);
    }
    ~SoundLevelRig() { controller.reset(); }
    SoundLevelRig(const SoundLevelRig&) = delete;
    SoundLevelRig& operator=(const SoundLevelRig&) = delete;

    // Writes the samples as one trigger: the buffer signals once, with their number as its amount.
    void trigger(const std::vector<float>& samples) {
        bufferConfiguration.setClockSignalingSampleAmount(samples.size());
        buffer.writeSamples(samples);
    }

    // Writes the stream as consecutive triggers of the given sizes.
    void triggers(const std::vector<float>& stream, const std::vector<std::size_t>& sizes) {
        std::size_t begin = 0;
        for (const std::size_t size : sizes) {
            trigger(std::vector<float>(stream.begin() + static_cast<std::ptrdiff_t>(begin),
                                       stream.begin() + static_cast<std::ptrdiff_t>(begin + size)));
            begin += size;
        }
    }

    // Waits until the worker has worked off every trigger written so far and its deliveries have reached the
    // collector.
    bool settle() { return processingtest::drain(processor) && processingtest::drain(processor); }

    // Waits for at least `count` deliveries, then settles.
    bool waitForDeliveries(std::size_t count) {
        const bool arrived = testsupport::spinUntil([&] { return deliveries.count() >= count; },
                                                    std::chrono::milliseconds(60000));
        return settle() && arrived;
    }

    processingtest::Deliveries deliveries;
    sonacore::BufferConfiguration bufferConfiguration;
    avb::AvbAudioBuffer buffer;
    process::ProcessConnection connection{"P"};
    process::SoundLevelValueProcessor* processor = nullptr;
    std::unique_ptr<threading::Controller> controller;
};

} // namespace soundleveltest
