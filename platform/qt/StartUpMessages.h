#pragma once

#include "platform/qt/StartUpFailure.h"

#include <QtGlobal>

namespace qf::qt {

/// Holds back Qt's messages about the display while it lives. If Qt cannot go on without a display,
/// `withoutDisplay` is called and the process ends with status 1 instead of an abort. Main thread
/// only.
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

} // namespace qf::qt
