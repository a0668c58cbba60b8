#pragma once

#include "manager/CallbackManager.h"
#include "sonacore/ChannelData.h"
#include "sonacore/DeliveryData.h"
#include "sonacore/IMeteringDataSource.h"

#include <cstdint>
#include <functional>
#include <string>

namespace sonacore {

// Where the results of one processor reach the host: a callback table with the single number 1, to which
// the host binds its function and from which the processor's ProcessConnection takes its own.
//
// Ownership: made by the core when a processor is added and owned by the core until the core ends, so it
// outlives the processor and its ProcessConnection. Thread affinity: the host's thread; binding and delivery
// both happen there, which is why the table needs no lock. Bind before the processor starts.
class MeteringDataSource : public IMeteringDataSource, public DeliveryData {
public:
    // The one callback number of a source; the host never passes it.
    static constexpr std::uint8_t channelCallbackNumber = 1;

    // Logs "MeteringDataSource" and "Source created".
    explicit MeteringDataSource(std::string name);
    // Logs "~MeteringDataSource" and "Source deleted!".
    ~MeteringDataSource() override;

    MeteringDataSource(const MeteringDataSource&) = delete;
    MeteringDataSource& operator=(const MeteringDataSource&) = delete;

    // Binds the host's function under number 1. True also when a function is bound already; the first one
    // then stays and the new one is dropped.
    bool bindChannelCallback(std::function<void(IChannelData&)> callback) override;
    // The function a ProcessConnection calls with each result. It looks the host's function up at each call,
    // so it may be taken before the host binds; until then results are logged and dropped. It refers to this
    // source and must not outlive it.
    std::function<void(ChannelData&)> getChannelCallback() const;
    // After the library is destroyed: binding warns, changes nothing and answers false. Results already on
    // their way still reach a function bound before.
    void retire();

    // "MeteringDataSource: <name>\tAvailable channel callbacks: " followed by the table's text.
    std::string toString() const override;

private:
    manager::CallbackManager<ChannelData> channelCallbackManager;
    bool retired = false;
};

} // namespace sonacore
