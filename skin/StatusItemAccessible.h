#pragma once

#include "skin/QuillonStatusItemView.h"

#include <QAccessibleWidget>
#include <QMenu>

namespace skin {

/// The status view for assistive technology: a button with the actions "press" (opens the menu) and "toggle" (starts or
/// stops the timer), and its menu as its child.
class StatusItemAccessible final : public QAccessibleWidget
{
public:
    explicit StatusItemAccessible(QuillonStatusItemView& view) : QAccessibleWidget(&view, QAccessible::Button) {}

    int childCount() const override { return view().statusMenu() ? 1 : 0; }

    QAccessibleInterface* child(int index) const override
    {
        return index == 0 && view().statusMenu() ? QAccessible::queryAccessibleInterface(view().statusMenu()) : nullptr;
    }

    int indexOfChild(const QAccessibleInterface* child) const override
    {
        return child && view().statusMenu() && child->object() == view().statusMenu() ? 0 : -1;
    }

    QAccessible::State state() const override
    {
        QAccessible::State state = QAccessibleWidget::state();
        state.hasPopup = view().statusMenu() != nullptr;
        return state;
    }

    QStringList actionNames() const override { return {pressAction(), toggleAction()}; }
    QStringList keyBindingsForAction(const QString&) const override { return {}; }

    void doAction(const QString& name) override
    {
        // Answer first: what follows may open a menu, and the caller waits.
        if (name == pressAction())
            QMetaObject::invokeMethod(&view(), &QuillonStatusItemView::pressFace, Qt::QueuedConnection);
        else if (name == toggleAction())
            QMetaObject::invokeMethod(&view(), &QuillonStatusItemView::pressButton, Qt::QueuedConnection);
    }

private:
    QuillonStatusItemView& view() const { return *static_cast<QuillonStatusItemView*>(object()); }
};

} // namespace skin
