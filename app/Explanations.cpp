#include "app/Explanations.h"

#include "platform/Language.h"
#include "platform/foundation/Thread.h"

#include <new>

using qf::translatable;

std::string explanationOf(qf::AuthorizationStatus right) {
    switch (right) {
    case qf::errAuthorizationSuccess:
        return qf::translated(translatable(
            "Explanations", "It could not be moved with the administrator's right either."));
    case qf::errAuthorizationCanceled:
        return qf::translated(
            translatable("Explanations", "It takes an administrator's password to move it."));
    case qf::errAuthorizationWrongPassword:
        return qf::translated(
            translatable("Explanations", "The administrator's password was wrong."));
    case qf::errAuthorizationDenied:
        return qf::translated(
            translatable("Explanations", "The administrator's right was denied."));
    default:
        return qf::translated(translatable(
            "Explanations", "The administrator's right cannot be had on this machine."));
    }
}

std::string explanationOf(const std::exception& exception) {
    if (dynamic_cast<const std::bad_alloc*>(&exception) != nullptr) {
        return qf::translated(translatable("Explanations", "The system has no memory left."));
    }
    if (dynamic_cast<const qf::NoThreadLeft*>(&exception) != nullptr) {
        return qf::translated(
            translatable("Explanations", "The system cannot start another thread."));
    }
    return exception.what();
}
