#include "platform/terminal/AlertPanel.h"

#include "platform/Preferences.h"
#include "platform/Services.h"
#include "platform/foundation/Text.h"
#include "platform/support/AlertChoices.h"

#include <utility>
#include <vector>

namespace qf::terminal {

namespace {

constexpr const char* suppressionQuestion = "Do not show this message again? ";
constexpr const char* sayWhich = "Please answer with one of the numbers.";

std::string promptOf(const std::vector<AlertButton>& buttons) {
    if (buttons.size() == 1) {
        return "[" + buttons.front().title + "] Press Return:";
    }
    std::string prompt;
    for (std::size_t index = 0; index < buttons.size(); ++index) {
        prompt += std::to_string(index + 1) + " = " + buttons[index].title + ", ";
    }
    return prompt.substr(0, prompt.size() - 2) + " [1]";
}

/// Returns the answer that a line means, or nullopt if it means none.
std::optional<int> answerOf(const std::string& line, const std::vector<AlertButton>& buttons) {
    const auto typed = text::trimmed(line);
    if (typed.empty() || buttons.size() == 1) {
        return buttons.front().answer;
    }
    for (std::size_t index = 0; index < buttons.size(); ++index) {
        if (typed == std::to_string(index + 1)) {
            return buttons[index].answer;
        }
    }
    return std::nullopt;
}

} // namespace

/// The alert on the screen, and the owner of its questions.
struct AlertPanel::Sheet {
    std::function<void(int)> didEnd;

    void end(int answer) {
        if (const auto ended = std::exchange(didEnd, nullptr)) {
            ended(answer);
        }
    }
};

AlertPanel::AlertPanel(AlertDescription description, Application& application, Dialogue& dialogue,
                       Manner manner)
    : description_(std::move(description)), application_(application), dialogue_(dialogue),
      manner_(manner), sheet_(std::make_shared<Sheet>()) {
}

AlertPanel::~AlertPanel() {
    orderOut();
}

void AlertPanel::beginSheet(qf::Window* /*parent*/, std::function<void(int)> didEnd) {
    sheet_->didEnd = std::move(didEnd);
    dialogue_.screen().gap();
    dialogue_.screen().paragraph(description_.messageText);
    if (!description_.informativeText.empty()) {
        dialogue_.screen().paragraph(description_.informativeText);
    }
    if (manner_ == Manner::silent) {
        application_.performOnMainThread([sheet = sheet_] { sheet->end(defaultReturn); }, Wait::no);
    } else if (description_.suppressionKey) {
        askForSuppression(*description_.suppressionKey);
    } else {
        askForButton();
    }
}

void AlertPanel::askForSuppression(const std::string& key) {
    const bool suppressed = isSuppressed(key);
    askYesOrNo(dialogue_, suppressionQuestion, suppressed ? EmptyLine::yes : EmptyLine::no,
               sheet_.get(), [this, key, suppressed](std::optional<bool> answer) {
                   if (!answer) {
                       sheet_->end(answerOfClosing(description_));
                       return;
                   }
                   if (*answer != suppressed) {
                       service<Preferences>().setValue(key, *answer);
                   }
                   askForButton();
               });
}

void AlertPanel::askForButton() {
    const auto buttons = alertButtons(description_);
    dialogue_.ask({promptOf(buttons),
                   [this, buttons](const auto& line) {
                       const auto answer =
                           line ? answerOf(*line, buttons) : answerOfClosing(description_);
                       if (answer) {
                           sheet_->end(*answer);
                       } else {
                           dialogue_.screen().paragraph(sayWhich);
                           askForButton();
                       }
                   },
                   Echo::yes, sheet_.get()});
}

bool AlertPanel::isVisible() {
    return sheet_->didEnd != nullptr;
}

void AlertPanel::orderOut() {
    sheet_->didEnd = nullptr;
    dialogue_.withdraw(sheet_.get());
}

std::unique_ptr<qf::AlertPanel> AlertPanels::create(const AlertDescription& description) {
    return std::make_unique<AlertPanel>(description, application_, dialogue_, manner_);
}

} // namespace qf::terminal
