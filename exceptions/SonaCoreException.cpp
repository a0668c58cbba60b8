#include "exceptions/SonaCoreException.h"

#include <utility>

namespace exceptions {

SonaCoreException::SonaCoreException(std::string message) : message(std::move(message)) {}

SonaCoreException::~SonaCoreException() = default;

const char* SonaCoreException::what() const noexcept {
    return message.c_str();
}

ResourceNotAvailable::~ResourceNotAvailable() = default;
InstanceNotConvertable::~InstanceNotConvertable() = default;
InstanceNotCreateable::~InstanceNotCreateable() = default;
InstanceAlreadyExists::~InstanceAlreadyExists() = default;

ProcessorAlreadyExists::ProcessorAlreadyExists(std::string message, std::string processorUniqueId)
    : InstanceAlreadyExists(std::move(message)), processorUniqueId(std::move(processorUniqueId)) {}

ProcessorAlreadyExists::~ProcessorAlreadyExists() = default;

const std::string& ProcessorAlreadyExists::getProcessorUniqueId() const noexcept {
    return processorUniqueId;
}

StreamingDeviceAlreadyExists::StreamingDeviceAlreadyExists(std::string message, std::string streamingDevice,
                                                           std::string networkDevice)
    : InstanceAlreadyExists(std::move(message)), streamingDevice(std::move(streamingDevice)),
      networkDevice(std::move(networkDevice)) {}

StreamingDeviceAlreadyExists::~StreamingDeviceAlreadyExists() = default;

const std::string& StreamingDeviceAlreadyExists::getStreamingDevice() const noexcept {
    return streamingDevice;
}

const std::string& StreamingDeviceAlreadyExists::getNetworkDevice() const noexcept {
    return networkDevice;
}

} // namespace exceptions
