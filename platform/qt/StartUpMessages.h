#pragma once

#include "platform/qt/StartUpFailure.h"

#include <QtGlobal>

namespace platform::qt {

/// While it lives, what Qt has to say about the display is kept back, and when Qt cannot go on
/// without one, `withoutDisplay` is called and the process ends with status 1 instead of an abort.
/// Main thread only.
class StartUpMessages {
public:
    explicit StartUpMessages(WithoutDisplay withoutDisplay);
    ~StartUpMessages();
    StartUpMessages(const StartUpMessages&) = delete;
    StartUpMessages& operator=(const StartUpMessages&) = delete;
    StartUpMessages(StartUpMessages&&) = delete;
    StartUpMessages& operator=(StartUpMessages&&) = delete;

private:
    QtMessageHandler former_;
};

} // namespace platform::qt
