#pragma once

#include "sonacore/SonaCoreExport.h"

#include <exception>
#include <string>

namespace exceptions {

// Root of every exception the library throws at a set-up call. The message is the text of the warning
// that was logged just before the throw. A set-up call that throws one of these has changed nothing unless
// its own comment says otherwise; the calls of a handle, of a message and of a result never throw. An
// exception object holds only its texts: copy and read it on any thread, and what() and the getters never
// throw.
class SONACORE_EXPORT SonaCoreException : public std::exception {
public:
    explicit SonaCoreException(std::string message);
    ~SonaCoreException() override;

    const char* what() const noexcept override;

private:
    std::string message;
};

// A requested object (adapter, buffer, handle, metering source, processor) does not exist.
class SONACORE_EXPORT ResourceNotAvailable : public SonaCoreException {
public:
    using SonaCoreException::SonaCoreException;
    ~ResourceNotAvailable() override;
};

// A processor configuration is not of the type the processor needs.
class SONACORE_EXPORT InstanceNotConvertable : public SonaCoreException {
public:
    using SonaCoreException::SonaCoreException;
    ~InstanceNotConvertable() override;
};

// An object could not be built: an unknown processor type, an adapter that cannot be opened, a stream or a
// buffer configuration whose values could never carry a sample, or settings for the wrong kind of call.
class SONACORE_EXPORT InstanceNotCreateable : public SonaCoreException {
public:
    using SonaCoreException::SonaCoreException;
    ~InstanceNotCreateable() override;
};

// An object of the same key exists already.
class SONACORE_EXPORT InstanceAlreadyExists : public SonaCoreException {
public:
    using SonaCoreException::SonaCoreException;
    ~InstanceAlreadyExists() override;
};

// A processor of the same unique ID is in place already.
class SONACORE_EXPORT ProcessorAlreadyExists : public InstanceAlreadyExists {
public:
    ProcessorAlreadyExists(std::string message, std::string processorUniqueId);
    ~ProcessorAlreadyExists() override;

    const std::string& getProcessorUniqueId() const noexcept;

private:
    std::string processorUniqueId;
};

// A streaming device of the same key was added before, on any adapter.
class SONACORE_EXPORT StreamingDeviceAlreadyExists : public InstanceAlreadyExists {
public:
    StreamingDeviceAlreadyExists(std::string message, std::string streamingDevice, std::string networkDevice);
    ~StreamingDeviceAlreadyExists() override;

    // The streaming device's key, its source MAC address as 12 hexadecimal characters.
    const std::string& getStreamingDevice() const noexcept;
    // The libpcap name of the adapter that holds the device already.
    const std::string& getNetworkDevice() const noexcept;

private:
    std::string streamingDevice;
    std::string networkDevice;
};

} // namespace exceptions
