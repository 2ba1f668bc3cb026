#pragma once

#include "platform/Windows.h"
#include "platform/terminal/Dialogue.h"
#include "platform/terminal/InterfaceFile.h"

#include <atomic>
#include <map>
#include <memory>
#include <set>
#include <string>

namespace qf::terminal {

class Interface;

/// Whether the user is asked, or everything is answered beforehand.
enum class Manner { asks, silent };

/// A checkbox: a question, unless it was ticked beforehand.
class CheckBox final : public qf::CheckBox {
public:
    qf::CheckBoxState state() override { return state_.load(std::memory_order_relaxed); }
    void setTicked(bool ticked) {
        state_.store(ticked ? qf::CheckBoxState::on : qf::CheckBoxState::off,
                     std::memory_order_relaxed);
    }

private:
    std::atomic<qf::CheckBoxState> state_{qf::CheckBoxState::off};
};

/// An animated line, or a still one if standard output is not a terminal.
class ProgressIndicator final : public qf::ProgressIndicator {
public:
    /// `text` says what is in progress.
    ProgressIndicator(std::string text, Dialogue& dialogue, Application& application)
        : text_(std::move(text)), dialogue_(dialogue), application_(application) {}

    /// Changes nothing: the line moves while the main thread's event loop runs, and the main thread
    /// never works for long.
    void setUsesThreadedAnimation(bool threaded) override;
    void startAnimation() override;
    void stopAnimation();

    /// Shows this text after the first one.
    void setDetail(std::string detail) { detail_ = std::move(detail); }

private:
    void draw();

    const std::string text_;
    std::string detail_;
    Dialogue& dialogue_;
    Application& application_;
    int step_ = 0;
};

/// A text beside the progress line of its window, if that has one.
class Label final : public qf::Label {
public:
    explicit Label(ProgressIndicator* progress) : progress_(progress) {}
    void setText(const std::string& text) override;

private:
    ProgressIndicator* const progress_;
};

/// A window: its texts one after another, a question for each checkbox, and one to confirm what its
/// button does. No answer, or "no" to the last question, closes the window.
class Window final : public qf::Window {
public:
    Window(WindowDescription description, Interface& interface)
        : description_(std::move(description)), interface_(interface) {}

    const WindowDescription& description() const { return description_; }

    void makeKeyAndOrderFront() override;
    void orderOut() override;
    bool isVisible() override { return isVisible_; }
    bool hasAttachedSheet() override { return false; }

private:
    void showFrom(std::size_t index);
    void show(const Control& label);
    void askForTick(std::size_t index);
    void confirm();
    const Control* confirmingButton() const;

    const WindowDescription description_;
    Interface& interface_;
    bool isVisible_ = false;
};

/// The windows of an interface file on a terminal. Main thread only.
class Interface final : public qf::Interface {
public:
    /// Reads the file as windowsIn() does. The application and the dialogue must outlive this.
    Interface(const InterfaceFile& file, Application& application, Dialogue& dialogue,
              Manner manner);
    ~Interface() override;
    Interface(const Interface&) = delete;
    Interface& operator=(const Interface&) = delete;
    Interface(Interface&&) = delete;
    Interface& operator=(Interface&&) = delete;

    Window& window(const std::string& name) override;
    CheckBox& checkBox(const std::string& name) override;
    ProgressIndicator& progressIndicator(const std::string& name) override;
    Label& label(const std::string& name) override;
    void setAction(const std::string& name, std::function<void()> perform) override;

    /// Ticks a checkbox beforehand, so that it is not asked about.
    void tick(const std::string& name);
    bool isTicked(const std::string& name) const { return ticked_.contains(name); }

    /// Used by the windows.
    void perform(const std::string& action) noexcept;
    Dialogue& dialogue() { return dialogue_; }
    Manner manner() const { return manner_; }

private:
    Window& windowWith(const std::string& control, Control::Kind kind);

    Application& application_;
    Dialogue& dialogue_;
    const Manner manner_;
    std::map<std::string, std::unique_ptr<Window>> windows_;
    std::map<std::string, std::unique_ptr<CheckBox>> checkBoxes_;
    std::map<std::string, std::unique_ptr<ProgressIndicator>> progressIndicators_;
    std::map<std::string, std::unique_ptr<Label>> labels_;
    std::map<std::string, std::function<void()>> actions_;
    std::set<std::string> ticked_;
};

/// The answer that an empty line means.
enum class EmptyLine { no, yes };

/// Asks a question, followed by "[y/N]" or "[Y/n]", until the answer is yes or no; nullopt means no
/// answer at all. `owner` may withdraw the question.
void askYesOrNo(Dialogue& dialogue, const std::string& question, EmptyLine emptyLine,
                const void* owner, std::function<void(std::optional<bool>)> answered);

} // namespace qf::terminal
