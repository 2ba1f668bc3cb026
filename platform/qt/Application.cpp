#include "platform/qt/Application.h"

#include <QCoreApplication>
#include <QEvent>
#include <QObject>
#include <QTimer>

#include <cstdlib>

namespace qf::qt {

/// Rung from any thread, answered by the main thread's event loop, nested or not.
class Application::Doorbell : public QObject {
public:
    static constexpr auto ring = QEvent::User;

    explicit Doorbell(Application& application) : application_(application) {}

    /// The event carries no data: its arrival is the whole message.
    void customEvent(QEvent* /*ring*/) override { application_.performNextJob(); }

private:
    Application& application_;
};

Application::Application() : doorbell_(std::make_unique<Doorbell>(*this)) {
}

Application::~Application() = default;

int Application::run() {
    if (!isTerminated()) {
        QCoreApplication::exec();
    }
    runTerminationObservers();
    end();
    return EXIT_SUCCESS;
}

void Application::end() {
    dropWork();
    doorbell_.reset();
}

void Application::ring() {
    QCoreApplication::postEvent(doorbell_.get(), new QEvent(Doorbell::ring));
}

void Application::dispatchNextEvent(std::chrono::milliseconds deadline) {
    QTimer limit;
    limit.setSingleShot(true);
    limit.setTimerType(Qt::PreciseTimer);
    limit.start(deadline);
    QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

void Application::leaveEventLoop() {
    QCoreApplication::exit(EXIT_SUCCESS);
}

} // namespace qf::qt
