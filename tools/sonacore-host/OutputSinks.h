#pragma once

#include "DeliveryRecorder.h"
#include "DeliverySink.h"
#include "SnapshotPainter.h"
#include "TerminalView.h"

#include <vector>

namespace host {

// The record file, the snapshot and the live view as delivery sinks; the plain lines are one of their own
// (MeterDisplay). Each holds its output by reference: the output must outlive the sink.
//
// Thread affinity: the host's thread.

// Appends each delivery to the record with the moment it arrived. Once the record has failed, it stays
// silent: the end of the run reports why.
class RecordSink : public DeliverySink {
public:
    explicit RecordSink(DeliveryRecorder& recorder) : recorder(recorder) {}

    void levels(unsigned channel, const std::vector<double>& values) override {
        recorder.recordLevels(channel, values, DeliveryRecorder::Clock::now());
    }
    void spectrum(unsigned channel, const std::vector<double>& power) override {
        recorder.recordSpectrum(channel, power, DeliveryRecorder::Clock::now());
    }

private:
    DeliveryRecorder& recorder;
};

// Keeps the latest deliveries for the picture painted at the end of the run.
class SnapshotSink : public DeliverySink {
public:
    explicit SnapshotSink(SnapshotPainter& painter) : painter(painter) {}

    void levels(unsigned channel, const std::vector<double>& values) override {
        painter.updateLevels(channel, values);
    }
    void spectrum(unsigned channel, const std::vector<double>& power) override {
        painter.updateSpectrum(channel, power);
    }

private:
    SnapshotPainter& painter;
};

// Shows the deliveries in the live view at its next redraw.
class ViewSink : public DeliverySink {
public:
    explicit ViewSink(TerminalView& view) : view(view) {}

    void levels(unsigned channel, const std::vector<double>& values) override {
        view.updateLevels(channel, values);
    }
    void spectrum(unsigned channel, const std::vector<double>& power) override {
        view.updateSpectrum(channel, power);
    }

private:
    TerminalView& view;
};

} // namespace host
