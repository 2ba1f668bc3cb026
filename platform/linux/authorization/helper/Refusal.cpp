#include "platform/linux/authorization/helper/Refusal.h"

namespace qf::native::helper {

namespace {

const char* textOf(Status status) {
    switch (status) {
    case Status::requestMalformed:
        return "the request is malformed";
    case Status::requestTooLarge:
        return "the request is too large";
    case Status::toolNotAbsolute:
        return "the tool's path is relative";
    case Status::toolMissing:
        return "there is no such tool";
    case Status::toolNotTrusted:
        return "others than root may change the tool or its way";
    case Status::commandUnknown:
        return "the command has a form that is not allowed";
    case Status::itemProtected:
        return "a system folder, a home folder or a mount point would be taken away";
    case Status::itemRedirected:
        return "a link leads to a folder that is not its owner's";
    case Status::itemForeign:
        return "an item is not its folder's owner's alone";
    case Status::notPlanned:
        return "the program's plan does not name it";
    case Status::itemUnreachable:
        return "an item cannot be reached";
    case Status::started:
    case Status::ready:
    case Status::startFailed:
        break;
    }
    return "the tool cannot be started";
}

} // namespace

std::string sentence(const Refusal& refusal) {
    return std::string(textOf(refusal.status)) + ": " + refusal.about;
}

} // namespace qf::native::helper
