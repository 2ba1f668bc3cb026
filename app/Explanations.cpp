#include "app/Explanations.h"

#include <new>

const char* explanationOf(platform::AuthorizationStatus right) {
    switch (right) {
    case platform::errAuthorizationSuccess:
        return "It could not be moved with the administrator's right either.";
    case platform::errAuthorizationCanceled:
        return "It takes an administrator's password to move it.";
    case platform::errAuthorizationWrongPassword:
        return "The administrator's password was wrong.";
    case platform::errAuthorizationDenied:
        return "The administrator's right was denied.";
    default:
        return "The administrator's right cannot be had on this machine.";
    }
}

std::string explanationOf(const std::exception& exception) {
    return dynamic_cast<const std::bad_alloc*>(&exception) != nullptr
               ? "The system has no memory left."
               : exception.what();
}
