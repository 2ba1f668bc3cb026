#include "platform/terminal/AlertPanel.h"

#include "platform/Preferences.h"
#include "platform/Services.h"
#include "platform/foundation/Text.h"

#include <utility>
#include <vector>

namespace platform::terminal {

namespace {

constexpr const char* standardDefaultTitle = "OK";
constexpr const char* suppressionPrompt = "Do not show this message again? [y/N]";
constexpr const char* sayWhich = "Please answer with one of the numbers.";

struct Button {
    std::string title;
    int answer;
};

/// The buttons in the order in which they are numbered: the default one first.
std::vector<Button> buttonsOf(const AlertDescription& description) {
    std::vector<Button> buttons = {
        {description.defaultButtonTitle.value_or(standardDefaultTitle), AlertPanel::defaultReturn}};
    if (description.alternateButtonTitle) {
        buttons.push_back({*description.alternateButtonTitle, AlertPanel::alternateReturn});
    }
    if (description.otherButtonTitle) {
        buttons.push_back({*description.otherButtonTitle, AlertPanel::otherReturn});
    }
    return buttons;
}

std::string promptOf(const std::vector<Button>& buttons) {
    if (buttons.size() == 1) {
        return "[" + buttons.front().title + "] Press Return:";
    }
    std::string prompt;
    for (std::size_t index = 0; index < buttons.size(); ++index) {
        prompt += std::to_string(index + 1) + " = " + buttons[index].title + ", ";
    }
    return prompt.substr(0, prompt.size() - 2) + " [1]";
}

/// The answer that a line means, nothing when it means none.
std::optional<int> answerOf(const std::string& line, const std::vector<Button>& buttons) {
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

int answerOfNone(const AlertDescription& description) {
    if (description.alternateButtonTitle) {
        return AlertPanel::alternateReturn;
    }
    return description.otherButtonTitle ? AlertPanel::otherReturn : AlertPanel::defaultReturn;
}

void askForButton(Dialogue& dialogue, const void* owner, const AlertDescription& description,
                  const std::function<void(int)>& answered) {
    dialogue.ask({promptOf(buttonsOf(description)),
                  [&dialogue, owner, description, answered](const auto& line) {
                      if (!line) {
                          answered(answerOfNone(description));
                      } else if (const auto answer = answerOf(*line, buttonsOf(description))) {
                          answered(*answer);
                      } else {
                          dialogue.screen().paragraph(sayWhich);
                          askForButton(dialogue, owner, description, answered);
                      }
                  },
                  Echo::yes, owner});
}

} // namespace

/// What is on the screen, and the owner of its questions.
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

void AlertPanel::beginSheet(platform::Window* /*parent*/, std::function<void(int)> didEnd) {
    sheet_->didEnd = std::move(didEnd);
    dialogue_.screen().gap();
    dialogue_.screen().paragraph(description_.messageText);
    if (!description_.informativeText.empty()) {
        dialogue_.screen().paragraph(description_.informativeText);
    }
    const auto ended = [sheet = sheet_](int answer) { sheet->end(answer); };
    if (manner_ == Manner::silent) {
        application_.performOnMainThread([ended] { ended(defaultReturn); }, Wait::no);
    } else if (description_.suppressionKey) {
        askYesOrNo(dialogue_, suppressionPrompt, sheet_.get(),
                   [this, ended](std::optional<bool> answer) {
                       if (answer) {
                           service<Preferences>().setValue(*description_.suppressionKey, *answer);
                       }
                       askForButton(dialogue_, sheet_.get(), description_, ended);
                   });
    } else {
        askForButton(dialogue_, sheet_.get(), description_, ended);
    }
}

bool AlertPanel::isVisible() {
    return sheet_->didEnd != nullptr;
}

void AlertPanel::orderOut() {
    sheet_->didEnd = nullptr;
    dialogue_.withdraw(sheet_.get());
}

std::unique_ptr<platform::AlertPanel> AlertPanels::create(const AlertDescription& description) {
    return std::make_unique<AlertPanel>(description, application_, dialogue_, manner_);
}

} // namespace platform::terminal
