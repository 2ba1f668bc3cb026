#pragma once

#include <exception>
#include <string>
#include <utility>

namespace qf {

/// The names of the platform's exceptions.
namespace exception_name {
/// A stream could not be used.
inline constexpr const char* fileHandleOperation = "NSFileHandleOperationException";
/// Any other failure.
inline constexpr const char* generic = "NSGenericException";
/// The program broke a rule of its own.
inline constexpr const char* internalInconsistency = "NSInternalInconsistencyException";
/// An argument is not valid.
inline constexpr const char* invalidArgument = "NSInvalidArgumentException";
/// Not enough memory.
inline constexpr const char* outOfMemory = "NSMallocException";
/// An operation took too long.
inline constexpr const char* portTimeout = "NSPortTimeoutException";
/// The interface file lacks an action.
inline constexpr const char* actionMissing = "QFActionMissing";
/// Another process runs the application.
inline constexpr const char* alreadyRunning = "QFAlreadyRunning";
/// A digest algorithm is not allowed.
inline constexpr const char* digestUnavailable = "QFDigestUnavailable";
/// The interface file cannot be read.
inline constexpr const char* interfaceUnreadable = "QFInterfaceUnreadable";
/// The interface file lacks an object.
inline constexpr const char* outletMissing = "QFOutletMissing";
/// A port has no implementation.
inline constexpr const char* serviceUnavailable = "QFServiceUnavailable";
} // namespace exception_name

/// An exception of the platform: a name for code to test, and a reason for people to read. No other
/// exception leaves an operation, except the standard library's for a null pointer that is passed
/// as a text.
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

} // namespace qf
