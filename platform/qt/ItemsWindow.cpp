#include "platform/qt/ItemsWindow.h"

#include "platform/qt/Placement.h"
#include "platform/qt/PlainText.h"

#include <QApplication>
#include <QBoxLayout>
#include <QClipboard>
#include <QDialog>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QTreeWidget>

#include <algorithm>

namespace platform::qt {

namespace {

constexpr int listMargin = 20;
constexpr int listSpacing = 12;
constexpr int buttonSpacing = 8;
constexpr QSize wantedSize(640, 480);
constexpr int messageWidth = 480;    // without a list
constexpr double largestShare = 0.9; // of the screen

constexpr const char* copyTitle = "&Copy";
constexpr const char* tryAgainTitle = "&Try Again";
constexpr const char* closeTitle = "C&lose";

enum Column { textColumn, detailColumn, columnCount };

QTreeWidgetItem* makeLine(const std::string& text) {
    auto* line = new QTreeWidgetItem;
    const auto shown = plaintext::fromUtf8(text).simplified();
    line->setText(textColumn, shown);
    line->setToolTip(textColumn, plaintext::unformatted(shown));
    return line;
}

QTreeWidgetItem* makeSection(const ItemsSection& section) {
    auto* heading = makeLine(section.heading);
    auto font = QApplication::font();
    font.setBold(true);
    heading->setFont(textColumn, font);
    for (const auto& [text, detail] : section.items) {
        auto* line = makeLine(text);
        line->setText(detailColumn, plaintext::fromUtf8(detail));
        heading->addChild(line);
    }
    return heading;
}

QTreeWidget* makeList(const ItemsDescription& description) {
    auto* list = new QTreeWidget;
    list->setColumnCount(columnCount);
    list->setHeaderHidden(true);
    list->setRootIsDecorated(false);
    list->setItemsExpandable(false);
    list->setUniformRowHeights(true);
    list->setTextElideMode(Qt::ElideMiddle);
    list->setSelectionMode(QAbstractItemView::ExtendedSelection);
    list->setAccessibleName(plaintext::fromUtf8(description.title));
    for (const auto& section : description.sections) {
        auto* heading = makeSection(section);
        list->addTopLevelItem(heading);
        heading->setFirstColumnSpanned(true);
        heading->setExpanded(true);
    }
    list->header()->setStretchLastSection(false);
    list->header()->setSectionResizeMode(textColumn, QHeaderView::Stretch);
    list->header()->setSectionResizeMode(detailColumn, QHeaderView::ResizeToContents);
    return list;
}

QLabel* makeMessage(const ItemsDescription& description) {
    auto* message = new QLabel(plaintext::wrappable(plaintext::fromUtf8(description.message)));
    message->setAccessibleName(plaintext::fromUtf8(description.message));
    message->setTextFormat(Qt::PlainText);
    message->setWordWrap(true);
    return message;
}

QPushButton* makeCopyButton(const ItemsDescription& description) {
    auto* copy = new QPushButton(copyTitle);
    QObject::connect(copy, &QPushButton::clicked, copy, [text = asText(description.sections)] {
        QApplication::clipboard()->setText(plaintext::fromUtf8(text));
    });
    return copy;
}

QBoxLayout* makeButtons(QDialog& window, const ItemsDescription& description) {
    auto* row = new QHBoxLayout;
    row->setSpacing(buttonSpacing);
    if (!description.sections.empty()) {
        row->addWidget(makeCopyButton(description));
    }
    row->addStretch();
    if (description.canTryAgain) {
        auto* tryAgain = new QPushButton(tryAgainTitle);
        QObject::connect(tryAgain, &QPushButton::clicked, &window, &QDialog::accept);
        row->addWidget(tryAgain);
    }
    auto* close = new QPushButton(closeTitle);
    QObject::connect(close, &QPushButton::clicked, &window, &QDialog::reject);
    row->addWidget(close);
    close->setDefault(true);
    close->setFocus();
    return row;
}

} // namespace

ItemsAnswer showItems(const ItemsDescription& description) {
    QDialog window;
    window.setWindowTitle(plaintext::fromUtf8(description.title));
    window.setAccessibleName(plaintext::fromUtf8(description.title));
    window.setWindowModality(Qt::ApplicationModal);
    auto* column = new QVBoxLayout(&window);
    column->setContentsMargins(listMargin, listMargin, listMargin, listMargin);
    column->setSpacing(listSpacing);
    column->addWidget(makeMessage(description));
    if (!description.sections.empty()) {
        column->addWidget(makeList(description), 1);
    }
    column->addLayout(makeButtons(window, description));
    window.resize(wantedSize.boundedTo(window.screen()->availableSize() * largestShare));
    if (description.sections.empty()) {
        window.resize(messageWidth, window.height());
        fitToContents(window);
    }
    bringToFront(window, QApplication::activeWindow());
    return window.exec() == QDialog::Accepted ? ItemsAnswer::tryAgain : ItemsAnswer::close;
}

std::string asText(const std::vector<ItemsSection>& sections) {
    std::string text;
    for (const auto& [heading, items] : sections) {
        text += heading + '\n';
        for (const auto& [item, detail] : items) {
            text += "    " + item + (detail.empty() ? "" : "  " + detail) + '\n';
        }
    }
    return text;
}

} // namespace platform::qt
