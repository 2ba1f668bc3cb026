#pragma once

#include <exception>
#include <string>
#include <utility>

namespace platform {

/// The names of the platform's exceptions.
namespace exception_name {
inline constexpr const char* fileHandleOperation = "NSFileHandleOperationException";
inline constexpr const char* generic = "NSGenericException";
inline constexpr const char* internalInconsistency = "NSInternalInconsistencyException";
inline constexpr const char* invalidArgument = "NSInvalidArgumentException";
inline constexpr const char* outOfMemory = "NSMallocException";
inline constexpr const char* portTimeout = "NSPortTimeoutException";
inline constexpr const char* actionMissing = "QFActionMissing";
inline constexpr const char* alreadyRunning = "QFAlreadyRunning";
inline constexpr const char* digestUnavailable = "QFDigestUnavailable";
inline constexpr const char* interfaceUnreadable = "QFInterfaceUnreadable";
inline constexpr const char* outletMissing = "QFOutletMissing";
inline constexpr const char* serviceUnavailable = "QFServiceUnavailable";
} // namespace exception_name

/// An exception of the platform: a name for code to test, and a reason for people to read. No other
/// exception leaves an operation.
class Exception : public std::exception {
public:
    /// Makes an exception with this name and reason.
    Exception(std::string name, std::string reason)
        : name_(std::move(name)), reason_(std::move(reason)) {}

    /// Return the name and the reason; what() is the reason too.
    const std::string& name() const { return name_; }
    const std::string& reason() const { return reason_; }
    const char* what() const noexcept override { return reason_.c_str(); }

private:
    std::string name_;
    std::string reason_;
};

} // namespace platform
