#include "platform/qt/AlertDialog.h"

#include "platform/Preferences.h"
#include "platform/Services.h"
#include "platform/qt/Appearance.h"
#include "platform/qt/Placement.h"
#include "platform/qt/PlainText.h"
#include "platform/support/AlertChoices.h"

#include <QAccessible>
#include <QBoxLayout>
#include <QCheckBox>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>

#include <algorithm>
#include <utility>

namespace qf::qt {

namespace {

constexpr int windowWidth = 480;
constexpr int margin = 20;
constexpr int wideSpacing = 16;
constexpr int spacing = 8;
constexpr double highestTexts = 0.6; // of the screen
constexpr int lowestTexts = 40;

constexpr auto suppressionTitle = translatable("Alert", "&Do not show this message again");

QLabel* makeText(const std::string& text) {
    auto* label = new QLabel(plaintext::wrappable(plaintext::fromUtf8(text)));
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    label->setAccessibleName(plaintext::fromUtf8(text));
    return label;
}

/// Shortens the titles that take more than their share of a row that is wider than this.
void fitButtons(const QBoxLayout& row, const QList<QPushButton*>& buttons, int width) {
    if (row.sizeHint().width() <= width) {
        return;
    }
    const int gaps = spacing * static_cast<int>(buttons.size() - 1);
    const int share = (width - gaps) / static_cast<int>(buttons.size());
    for (auto* button : buttons) {
        const auto metrics = button->fontMetrics();
        const int frame =
            button->sizeHint().width() - metrics.size(Qt::TextShowMnemonic, button->text()).width();
        const auto title = button->accessibleName();
        button->setToolTip(plaintext::unformatted(title));
        button->setText(
            plaintext::withoutMnemonics(metrics.elidedText(title, Qt::ElideRight, share - frame)));
    }
}

} // namespace

AlertDialog::AlertDialog(const AlertDescription& description)
    : QDialog(nullptr, Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint |
                           Qt::WindowCloseButtonHint),
      answerOfClosing_(answerOfClosing(description)) {
    const auto message = plaintext::fromUtf8(description.messageText);
    setWindowTitle(message.simplified());
    setAccessibleName(message);
    setAccessibleDescription(plaintext::fromUtf8(description.informativeText));

    auto* icon = new QLabel;
    styleAsApplicationIcon(*icon);
    auto* column = new QVBoxLayout;
    column->setSpacing(wideSpacing);
    column->addWidget(makeTexts(description));
    if (description.suppressionKey) {
        addSuppressionCheckBox(*column, *description.suppressionKey);
    }
    column->addStretch();

    auto* body = new QHBoxLayout;
    body->setSpacing(wideSpacing);
    body->addWidget(icon, 0, Qt::AlignTop);
    body->addLayout(column, 1);

    auto* window = new QVBoxLayout(this);
    window->setContentsMargins(margin, margin, margin, margin);
    window->setSpacing(wideSpacing);
    window->addLayout(body);
    window->addLayout(makeButtons(description));
}

QScrollArea* AlertDialog::makeTexts(const AlertDescription& description) {
    auto* texts = new QWidget;
    auto* column = new QVBoxLayout(texts);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(spacing);
    auto* message = makeText(description.messageText);
    styleAsMessage(*message);
    column->addWidget(message);
    if (!description.informativeText.empty()) {
        column->addWidget(makeText(description.informativeText));
    }
    column->addStretch();

    texts_ = new QScrollArea;
    texts_->setFrameShape(QFrame::NoFrame);
    texts_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    texts_->setFocusPolicy(Qt::NoFocus);
    texts_->setWidgetResizable(true);
    texts_->setWidget(texts);
    return texts_;
}

void AlertDialog::addSuppressionCheckBox(QBoxLayout& column, const std::string& key) {
    auto* box = new QCheckBox(plaintext::translated(suppressionTitle));
    box->setChecked(isSuppressed(key));
    connect(box, &QCheckBox::toggled, box,
            [key](bool checked) { service<Preferences>().setValue(key, checked); });
    column.addWidget(box);
}

QBoxLayout* AlertDialog::makeButtons(const AlertDescription& description) {
    auto* row = new QHBoxLayout;
    row->setSpacing(spacing);
    row->addStretch();
    auto fromLeftToRight = alertButtons(description);
    std::ranges::reverse(fromLeftToRight);
    QList<QPushButton*> buttons;
    for (const auto& [title, answer] : fromLeftToRight) {
        buttons << makeButton(title, answer);
        row->addWidget(buttons.last());
    }
    buttons.last()->setDefault(true);
    buttons.last()->setFocus();
    fitButtons(*row, buttons, std::min(windowWidth, roomOnScreen(*this).width()) - 2 * margin);
    return row;
}

QPushButton* AlertDialog::makeButton(const std::string& title, int code) {
    const auto text = plaintext::fromUtf8(title).simplified();
    auto* button = new QPushButton(plaintext::withoutMnemonics(text), this);
    button->setAccessibleName(text);
    connect(button, &QPushButton::clicked, this, [this, code] { answer(code); });
    return button;
}

void AlertDialog::begin(QWidget* parent, std::function<void(int)> didEnd) {
    didEnd_ = std::move(didEnd);
    setParent(parent, windowFlags());
    setWindowModality(parent != nullptr ? Qt::WindowModal : Qt::NonModal);
    fitTexts();
    bringToFront(*this, parent);
    QAccessibleEvent event(this, QAccessible::Alert);
    QAccessible::updateAccessibility(&event);
}

AlertDialog::~AlertDialog() {
    if (isVisible()) {
        answer(answerOfClosing_);
    }
}

/// The texts get the room that the rest leaves.
void AlertDialog::fitTexts() {
    resize(windowWidth, height());
    texts_->setFixedHeight(lowestTexts);
    fitToContents(*this);
    const int iconWidth = layout()->itemAt(0)->layout()->itemAt(0)->sizeHint().width();
    const int textWidth = width() - 2 * margin - iconWidth - wideSpacing;
    const int wanted = texts_->widget()->layout()->totalHeightForWidth(textWidth);
    const int room = roomOnScreen(*this).height() - (height() - lowestTexts);
    const int share = static_cast<int>(screen()->availableGeometry().height() * highestTexts);
    const int most = std::max(lowestTexts, std::min(room, share));
    texts_->setFixedHeight(std::min(wanted, most));
    texts_->setFocusPolicy(wanted > most ? Qt::StrongFocus : Qt::NoFocus);
    fitToContents(*this);
}

void AlertDialog::reject() {
    answer(answerOfClosing_);
}

void AlertDialog::answer(int code) noexcept {
    if (const auto didEnd = std::exchange(didEnd_, nullptr)) {
        takeAway(*this);
        didEnd(code);
    }
}

} // namespace qf::qt
