#pragma once

#include <QtGlobal>

#include <string_view>

namespace platform::qt {

/// Writes the one line that a person reads on standard error when the application cannot start.
void reportStartUpFailure(std::string_view reason);

/// While it lives, what Qt has to say about the display is kept back, and when Qt cannot go on
/// without one, the process ends with one line on standard error and status 1 instead of an abort.
/// Main thread only.
class StartUpMessages {
public:
    StartUpMessages();
    ~StartUpMessages();
    StartUpMessages(const StartUpMessages&) = delete;
    StartUpMessages& operator=(const StartUpMessages&) = delete;
    StartUpMessages(StartUpMessages&&) = delete;
    StartUpMessages& operator=(StartUpMessages&&) = delete;

private:
    QtMessageHandler former_;
};

} // namespace platform::qt
