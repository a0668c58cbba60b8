#pragma once

#include <vector>

namespace host {

// Where the analysers' deliveries go: the live view, the plain lines, the record and the snapshot each take
// them through this one interface, so that a new output is one more sink in the list.
//
// Thread affinity: the host's thread, on which the library runs the deliveries' callbacks. A sink neither
// keeps the references it is handed nor throws.
class DeliverySink {
public:
    virtual ~DeliverySink() = default;

    // A sound level delivery of `channel`: the seven values in dB re full scale, in the order of their
    // identifiers.
    virtual void levels(unsigned channel, const std::vector<double>& values) = 0;
    // A power spectrum of `channel`, from a frame the stream had filled (see SpectrumReadiness.h): bins 0 to
    // N/2 - 1 of an N-point transform, in linear power.
    virtual void spectrum(unsigned channel, const std::vector<double>& power) = 0;
};

// A list of sinks that hands each delivery to every sink, in the order they were added. The sinks are not
// owned and must outlive the list's use.
class DeliverySinks final : public DeliverySink {
public:
    void add(DeliverySink& sink) { sinks.push_back(&sink); }

    void levels(unsigned channel, const std::vector<double>& values) override {
        for (DeliverySink* sink : sinks) {
            sink->levels(channel, values);
        }
    }

    void spectrum(unsigned channel, const std::vector<double>& power) override {
        for (DeliverySink* sink : sinks) {
            sink->spectrum(channel, power);
        }
    }

private:
    std::vector<DeliverySink*> sinks;
};

// Hands a delivery on with its channel moved by `offset`: one network's channel c shows as c + offset where
// several networks share the outputs. The target is not owned and must outlive this sink's use.
class ShiftedSink final : public DeliverySink {
public:
    ShiftedSink(DeliverySink& target, unsigned offset) : target(target), offset(offset) {}

    void levels(unsigned channel, const std::vector<double>& values) override {
        target.levels(channel + offset, values);
    }

    void spectrum(unsigned channel, const std::vector<double>& power) override {
        target.spectrum(channel + offset, power);
    }

private:
    DeliverySink& target;
    const unsigned offset;
};

} // namespace host
