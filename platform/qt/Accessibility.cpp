#include "platform/qt/Accessibility.h"

#include <QAccessibleWidget>
#include <QProgressBar>
#include <QString>

namespace qf::qt {

namespace {

/// A progress bar; one without an end is busy.
class AccessibleBar : public QAccessibleWidget {
public:
    explicit AccessibleBar(QProgressBar& bar) : QAccessibleWidget(&bar, QAccessible::ProgressBar) {}

    QAccessible::State state() const override {
        auto state = QAccessibleWidget::state();
        const auto& bar = *qobject_cast<QProgressBar*>(widget());
        state.busy = bar.minimum() == bar.maximum() && bar.isVisible();
        return state;
    }
};

/// A widget of no special kind, which may become a window later.
class AccessibleWindow : public QAccessibleWidget {
public:
    explicit AccessibleWindow(QWidget& widget) : QAccessibleWidget(&widget) {}

    QAccessible::Role role() const override {
        return widget()->isWindow() ? QAccessible::Window : QAccessibleWidget::role();
    }
};

QAccessibleInterface* makeAccessible(const QString& className, QObject* object) {
    auto* widget = qobject_cast<QWidget*>(object);
    if (className == QLatin1String("QProgressBar")) {
        return new AccessibleBar(*qobject_cast<QProgressBar*>(widget));
    }
    if (className == QLatin1String("QWidget")) {
        return new AccessibleWindow(*widget);
    }
    return nullptr;
}

} // namespace

void describeToScreenReaders() {
    QAccessible::installFactory(makeAccessible);
}

} // namespace qf::qt
