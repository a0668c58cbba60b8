#pragma once

#include "sonacore/Log.h"
#include "sonacore/StringOverloadBase.h"

#include <cstdint>
#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <utility>

namespace manager {

// A numbered table of callbacks that take a T&. Valid numbers run from first to last, both included.
//
// A number keeps the first function bound to it: binding again is accepted and changes nothing. The function
// that getCallback() hands out looks its number up at every call, so it may be given out before anything is
// bound.
//
// Thread affinity: none of its own and no lock. Binding and calling must happen on one thread; the library
// binds and delivers on the host's thread. The functions from getCallback() refer to this manager and must
// not be called after it ends.
template <typename T> class CallbackManager : public StringOverloadBase {
public:
    using Callback = std::function<void(T&)>;

    // Logs "CallbackManager" and " Manager initialized".
    CallbackManager(std::uint8_t firstCallbackNumber, std::uint8_t lastCallbackNumber)
        : firstCallbackNumber(firstCallbackNumber), lastCallbackNumber(lastCallbackNumber) {
        sonacore::log::debug("CallbackManager", " Manager initialized");
    }

    // Logs "~CallbackManager" and " Manager deleted!".
    ~CallbackManager() override { sonacore::log::debug("~CallbackManager", " Manager deleted!"); }

    CallbackManager(const CallbackManager&) = delete;
    CallbackManager& operator=(const CallbackManager&) = delete;

    // True when the number lies in the range. Otherwise logs the invalid-number warning under
    // "isCallbackNumberValid" and returns false.
    bool isCallbackNumberValid(std::uint8_t number) const {
        if (number >= firstCallbackNumber && number <= lastCallbackNumber) {
            return true;
        }
        warnInvalidNumber("isCallbackNumberValid");
        return false;
    }

    // Binds the function to the number. True for a valid number, whether or not it was bound already; a bound
    // number keeps its first function. False for an invalid number, after the invalid-number warning under
    // "isCallbackNumberValid" and again under "bindCallback".
    bool bindCallback(std::uint8_t number, Callback callback) {
        if (!isCallbackNumberValid(number)) {
            warnInvalidNumber("bindCallback");
            return false;
        }
        callbacks.emplace(number, std::move(callback));
        return true;
    }

    // A function that calls whatever is bound to the number at the time of each call, or dummyCallback
    // while nothing is.
    Callback getCallback(std::uint8_t number) const {
        return [this, number](T& data) {
            const auto found = callbacks.find(number);
            if (found == callbacks.end()) {
                dummyCallback(data);
                return;
            }
            found->second(data);
        };
    }

    // "Callback manager: \tAvailable callback range: <first> to <last>\n\tList of bound callbacks: [<n> ...]"
    std::string toString() const override {
        std::ostringstream text;
        text << "Callback manager: "
             << "\tAvailable callback range: " << static_cast<unsigned>(firstCallbackNumber) << " to "
             << static_cast<unsigned>(lastCallbackNumber) << "\n\tList of bound callbacks: [";
        for (const auto& entry : callbacks) {
            text << static_cast<unsigned>(entry.first) << " ";
        }
        text << "]";
        return text.str();
    }

private:
    // Where data goes while its number is unbound: it is logged and dropped.
    static void dummyCallback(T& data) {
        sonacore::log::debug("dummyCallback", " Callback not bound!\n Delivered data: ", data);
    }

    void warnInvalidNumber(const char* method) const {
        sonacore::log::warning(method, "Your given callback number is INVALID! ",
                               "Available callback range is: ", firstCallbackNumber, " to ",
                               lastCallbackNumber);
    }

    const std::uint8_t firstCallbackNumber;
    const std::uint8_t lastCallbackNumber;
    std::map<std::uint8_t, Callback> callbacks;
};

} // namespace manager
