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
#include <QStyledItemDelegate>
#include <QTreeWidget>

#include <algorithm>

namespace qf::qt {

namespace {

constexpr int listMargin = 20;
constexpr int listSpacing = 12;
constexpr int buttonSpacing = 8;
constexpr QSize wantedSize(640, 480);
constexpr int messageWidth = 480; // without a list

constexpr auto copyTitle = translatable("Lists", "&Copy");
constexpr auto tryAgainTitle = translatable("Lists", "&Try Again");
constexpr auto closeTitle = translatable("Lists", "C&lose");

constexpr auto itemsHeader = translatable("Lists", "Items");
constexpr auto detailsHeader = translatable("Lists", "Details");

enum Column { textColumn, detailColumn };

/// Lets headings take the lines that they need, and items one.
class ListDelegate : public QStyledItemDelegate {
public:
    explicit ListDelegate(QTreeWidget& list) : QStyledItemDelegate(&list), list_(list) {}

    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override {
        auto wide = option;
        wide.rect.setRect(0, 0, list_.viewport()->width(), list_.viewport()->height());
        return QStyledItemDelegate::sizeHint(wide, index);
    }

protected:
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override {
        QStyledItemDelegate::initStyleOption(option, index);
        option->features.setFlag(QStyleOptionViewItem::WrapText, !index.parent().isValid());
    }

private:
    const QTreeWidget& list_;
};

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
    list->setHeaderLabels({plaintext::translated(itemsHeader),
                           plaintext::translated(detailsHeader)}); // for screen readers
    list->setHeaderHidden(true);
    list->setRootIsDecorated(false);
    list->setItemsExpandable(false);
    list->setItemDelegate(new ListDelegate(*list));
    // In other widths headings take other numbers of lines.
    QObject::connect(list->header(), &QHeaderView::sectionResized, list,
                     &QTreeWidget::doItemsLayout, Qt::QueuedConnection);
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
    auto* copy = new QPushButton(plaintext::translated(copyTitle));
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
        auto* tryAgain = new QPushButton(plaintext::translated(tryAgainTitle));
        QObject::connect(tryAgain, &QPushButton::clicked, &window, &QDialog::accept);
        row->addWidget(tryAgain);
    }
    auto* close = new QPushButton(plaintext::translated(closeTitle));
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
    window.resize(wantedSize.boundedTo(roomOnScreen(window)));
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

} // namespace qf::qt
