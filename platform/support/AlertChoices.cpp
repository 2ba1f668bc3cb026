#include "platform/support/AlertChoices.h"

#include "platform/Language.h"
#include "platform/Preferences.h"
#include "platform/Services.h"

namespace qf {

namespace {

constexpr auto standardDefaultTitle = translatable("Alert", "OK");

std::string defaultTitle(const AlertDescription& description) {
    const auto title = description.defaultButtonTitle.value_or(std::string());
    return title.empty() ? translated(standardDefaultTitle) : title;
}

} // namespace

std::vector<AlertButton> alertButtons(const AlertDescription& description) {
    std::vector<AlertButton> buttons = {{defaultTitle(description), AlertPanel::defaultReturn}};
    if (description.alternateButtonTitle) {
        buttons.push_back({*description.alternateButtonTitle, AlertPanel::alternateReturn});
    }
    if (description.otherButtonTitle) {
        buttons.push_back({*description.otherButtonTitle, AlertPanel::otherReturn});
    }
    return buttons;
}

int answerOfClosing(const AlertDescription& description) {
    if (description.alternateButtonTitle) {
        return AlertPanel::alternateReturn;
    }
    return description.otherButtonTitle ? AlertPanel::otherReturn : AlertPanel::defaultReturn;
}

bool isSuppressed(const std::string& suppressionKey) {
    const auto value = service<Preferences>().value(suppressionKey);
    if (const auto* boolean = value.as<bool>()) {
        return *boolean;
    }
    if (const auto* integer = value.as<std::int64_t>()) {
        return *integer != 0;
    }
    const auto* real = value.as<double>();
    return real != nullptr && *real != 0;
}

} // namespace qf
