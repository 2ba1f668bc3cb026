#include "platform/terminal/Interface.h"

#include "platform/foundation/Exception.h"
#include "platform/foundation/Text.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace qf::terminal {

namespace {

constexpr std::chrono::milliseconds frameInterval{100};
constexpr int barLength = 10;
constexpr int barPieceLength = 3;

constexpr const char* sayYesOrNo = "Please answer y or n.";

/// A segment that moves back and forth between two ends.
std::string bar(int step) {
    constexpr int way = barLength - barPieceLength;
    const int there = step % (2 * way);
    std::string cells(barLength, ' ');
    cells.replace(static_cast<std::size_t>(std::min(there, 2 * way - there)), barPieceLength,
                  barPieceLength, '=');
    return "[" + cells + "]";
}

std::optional<bool> yesOrNoOf(const std::string& line, EmptyLine emptyLine) {
    const auto answer = text::lowercased(text::trimmed(line));
    if (answer.empty()) {
        return emptyLine == EmptyLine::yes;
    }
    if (answer == "y" || answer == "yes") {
        return true;
    }
    return answer == "n" || answer == "no" ? std::optional(false) : std::nullopt;
}

[[noreturn]] void throwOutletMissing(const std::string& name) {
    throw Exception(exception_name::outletMissing,
                    "the interface file has no outlet \"" + name + "\"");
}

} // namespace

void askYesOrNo(Dialogue& dialogue, const std::string& question, EmptyLine emptyLine,
                const void* owner, std::function<void(std::optional<bool>)> answered) {
    dialogue.ask(
        {question + (emptyLine == EmptyLine::yes ? "[Y/n]" : "[y/N]"),
         [&dialogue, question, emptyLine, owner, answered = std::move(answered)](const auto& line) {
             const auto answer = line ? yesOrNoOf(*line, emptyLine) : std::nullopt;
             if (line && !answer) {
                 dialogue.screen().paragraph(sayYesOrNo);
                 askYesOrNo(dialogue, question, emptyLine, owner, answered);
             } else {
                 answered(answer);
             }
         },
         Echo::yes, owner});
}

// ---- The progress line -------------------------------------------------------------------------

void ProgressIndicator::setUsesThreadedAnimation(bool /*threaded*/) {
}

void ProgressIndicator::startAnimation() {
    if (!Screen::isTerminal()) {
        dialogue_.screen().paragraph(text_);
        return;
    }
    draw();
    application_.setTick(frameInterval, [this] { draw(); });
}

void ProgressIndicator::stopAnimation() {
    application_.setTick(frameInterval, nullptr);
    dialogue_.screen().clearStatus();
}

void ProgressIndicator::draw() {
    if (!dialogue_.isAsking()) {
        dialogue_.screen().setStatus(bar(step_++) + " " + text_ +
                                     (detail_.empty() ? "" : " " + detail_));
    }
}

void Label::setText(const std::string& text) {
    if (progress_ != nullptr) {
        progress_->setDetail(text);
    }
}

// ---- Windows -----------------------------------------------------------------------------------

void Window::makeKeyAndOrderFront() {
    if (std::exchange(isVisible_, true)) {
        return;
    }
    if (interface_.manner() == Manner::asks) {
        showFrom(0);
    } else if (const auto* button = confirmingButton()) {
        interface_.perform(button->action);
    }
}

void Window::orderOut() {
    isVisible_ = false;
    for (const auto& control : description_.controls) {
        if (control.kind == Control::Kind::progressBar) {
            interface_.progressIndicator(control.name).stopAnimation();
        }
    }
}

void Window::showFrom(std::size_t index) {
    for (; index < description_.controls.size(); ++index) {
        const auto& control = description_.controls[index];
        if (control.kind == Control::Kind::checkBox) {
            askForTick(index);
            return;
        }
        if (control.kind == Control::Kind::label && confirmingButton() != nullptr) {
            show(control);
        }
    }
    confirm();
}

void Window::show(const Control& label) {
    if (!label.text.empty() && label.textStyle != "checkBoxNote") {
        interface_.dialogue().screen().paragraph(label.text);
        interface_.dialogue().screen().gap();
    }
}

void Window::askForTick(std::size_t index) {
    const auto& control = description_.controls[index];
    auto& screen = interface_.dialogue().screen();
    const auto* note = index + 1 < description_.controls.size() ? &control + 1 : nullptr;
    screen.paragraph(control.text + "?");
    if (note != nullptr && note->textStyle == "checkBoxNote") {
        screen.paragraph(note->text);
    }
    if (interface_.isTicked(control.name)) {
        screen.paragraph("Yes.");
        screen.gap();
        showFrom(index + 1);
        return;
    }
    askYesOrNo(interface_.dialogue(), "", EmptyLine::no, this,
               [this, index](std::optional<bool> answer) {
                   if (!answer) {
                       interface_.perform(description_.closeAction);
                       return;
                   }
                   interface_.checkBox(description_.controls[index].name).setTicked(*answer);
                   interface_.dialogue().screen().gap();
                   showFrom(index + 1);
               });
}

void Window::confirm() {
    const auto* button = confirmingButton();
    if (button == nullptr) {
        return;
    }
    askYesOrNo(interface_.dialogue(), button->text + "? ", EmptyLine::no, this,
               [this, button](std::optional<bool> answer) {
                   if (answer.value_or(false)) {
                       interface_.dialogue().screen().gap();
                       interface_.perform(button->action);
                   } else {
                       interface_.perform(description_.closeAction);
                   }
               });
}

/// Returns the last button that does something other than closing the window: the one at the right
/// end on a desktop.
const Control* Window::confirmingButton() const {
    const auto& controls = description_.controls;
    const auto found =
        std::find_if(controls.rbegin(), controls.rend(), [this](const Control& control) {
            return control.kind == Control::Kind::button && !control.action.empty() &&
                   control.action != description_.closeAction;
        });
    return found == controls.rend() ? nullptr : &*found;
}

// ---- The interface -----------------------------------------------------------------------------

Interface::Interface(const InterfaceFile& file, Application& application, Dialogue& dialogue,
                     Manner manner)
    : application_(application), dialogue_(dialogue), manner_(manner) {
    for (auto& description : windowsIn(file)) {
        for (const auto& control : description.controls) {
            if (!control.action.empty()) {
                actions_.try_emplace(control.action);
            }
        }
        if (!description.closeAction.empty()) {
            actions_.try_emplace(description.closeAction);
        }
        auto name = description.name;
        windows_[name] = std::make_unique<Window>(std::move(description), *this);
    }
}

Interface::~Interface() = default;

Window& Interface::window(const std::string& name) {
    const auto found = windows_.find(name);
    if (found == windows_.end()) {
        throwOutletMissing(name);
    }
    return *found->second;
}

Window& Interface::windowWith(const std::string& control, Control::Kind kind) {
    for (const auto& [name, window] : windows_) {
        const auto& controls = window->description().controls;
        if (std::ranges::any_of(controls, [&](const Control& candidate) {
                return candidate.kind == kind && candidate.name == control;
            })) {
            return *window;
        }
    }
    throwOutletMissing(control);
}

CheckBox& Interface::checkBox(const std::string& name) {
    windowWith(name, Control::Kind::checkBox);
    auto& box = checkBoxes_[name];
    if (!box) {
        box = std::make_unique<CheckBox>();
    }
    return *box;
}

ProgressIndicator& Interface::progressIndicator(const std::string& name) {
    const auto& controls = windowWith(name, Control::Kind::progressBar).description().controls;
    auto& indicator = progressIndicators_[name];
    if (!indicator) {
        const auto label = std::ranges::find_if(controls, [](const Control& control) {
            return control.kind == Control::Kind::label && !control.text.empty();
        });
        indicator = std::make_unique<ProgressIndicator>(
            label == controls.end() ? std::string() : label->text, dialogue_, application_);
    }
    return *indicator;
}

Label& Interface::label(const std::string& name) {
    const auto& controls = windowWith(name, Control::Kind::label).description().controls;
    auto& label = labels_[name];
    if (!label) {
        const auto bar = std::ranges::find(controls, Control::Kind::progressBar, &Control::kind);
        label = std::make_unique<Label>(bar == controls.end() ? nullptr
                                                              : &progressIndicator(bar->name));
    }
    return *label;
}

void Interface::setAction(const std::string& name, std::function<void()> perform) {
    const auto found = actions_.find(name);
    if (found == actions_.end()) {
        throw Exception(exception_name::actionMissing,
                        "the interface file connects nothing with the action \"" + name + "\"");
    }
    found->second = std::move(perform);
}

void Interface::tick(const std::string& name) {
    checkBox(name).setTicked(true);
    ticked_.insert(name);
}

void Interface::perform(const std::string& action) noexcept {
    // A copy, since the action may be connected again while it runs.
    if (const auto performer = actions_.at(action)) {
        performer();
    }
}

} // namespace qf::terminal
