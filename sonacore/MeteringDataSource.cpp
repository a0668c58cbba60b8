#include "sonacore/MeteringDataSource.h"

#include "sonacore/Log.h"
#include "sonacore/SonaCoreConstants.h"

#include <utility>

namespace sonacore {

IMeteringDataSource::~IMeteringDataSource() = default;

MeteringDataSource::MeteringDataSource(std::string name)
    : DeliveryData(std::move(name)), channelCallbackManager(channelCallbackNumber, channelCallbackNumber) {
    log::debug("MeteringDataSource", "Source created");
}

MeteringDataSource::~MeteringDataSource() {
    log::debug("~MeteringDataSource", "Source deleted!");
}

bool MeteringDataSource::bindChannelCallback(std::function<void(IChannelData&)> callback) {
    if (retired) {
        log::warning("bindChannelCallback", log::name(name), constants::destroyedLibraryWarning);
        return false;
    }
    // The table holds functions of the concrete record; the host's function sees it through its interface,
    // which a ChannelData is, so the reference converts implicitly.
    return channelCallbackManager.bindCallback(
        channelCallbackNumber, [callback = std::move(callback)](ChannelData& data) { callback(data); });
}

std::function<void(ChannelData&)> MeteringDataSource::getChannelCallback() const {
    return channelCallbackManager.getCallback(channelCallbackNumber);
}

void MeteringDataSource::retire() {
    retired = true;
}

std::string MeteringDataSource::toString() const {
    return "MeteringDataSource: " + name +
           "\tAvailable channel callbacks: " + channelCallbackManager.toString();
}

} // namespace sonacore
