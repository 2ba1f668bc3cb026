#pragma once

namespace qf {
class CheckBox;
class Interface;
class ProgressIndicator;
class Window;
} // namespace qf

class PlanObserver;

/// Controls the flow of the uninstaller: the main window, one run of the plan on a worker thread
/// while the progress window is shown, the completion alert, termination.
///
/// Its only state is its outlets: windowMain, removeSharedCheck, windowProgress and progressBar.
/// Every result of the plan is ignored, so the run always ends with the same alert.
class AppController {
public:
    /// Connects the four outlets and the two actions, "uninstall:" and "cancel:". Throws
    /// qf::Exception if the interface lacks one of them. The observer is notified of the run.
    /// Both must outlive this object. Main thread only.
    AppController(qf::Interface& interface, PlanObserver& observer);

    /// Called when the interface has been loaded; there is nothing to prepare.
    void awakeFromNib() {}

    /// Shows the progress window in place of the main one and starts beginUninstall() on a worker
    /// thread; returns at once. If the system has no thread left, the main thread runs it first.
    /// The action of the uninstall button. Main thread only.
    void uninstall();

    /// Runs the worker's body: reads the checkbox once, walks the plan, then runs endProgress() on
    /// the main thread and waits for it. The worker thread, or for want of one the main thread.
    void beginUninstall();

    /// Hides the progress window, shows the completion alert until it is dismissed, and terminates
    /// the application. Main thread only.
    void endProgress();

    /// Terminates the application at once; nothing is removed. The action of the cancel button.
    /// Main thread only.
    void cancel();

private:
    qf::Window& windowMain_;
    qf::CheckBox& removeSharedCheck_;
    qf::Window& windowProgress_;
    qf::ProgressIndicator& progressBar_;
    PlanObserver& observer_;
};
