#pragma once

#include <QAccessibleWidget>

namespace skin {

/// Makes widgets of that class known to assistive technology by that role. May be called any number of times.
template <class Widget, QAccessible::Role role>
void installAccessibleRole()
{
    static const bool installed = [] {
        QAccessible::installFactory([](const QString&, QObject* object) -> QAccessibleInterface* {
            auto* widget = qobject_cast<Widget*>(object);
            return widget ? new QAccessibleWidget(widget, role) : nullptr;
        });
        return true;
    }();
    Q_UNUSED(installed)
}

} // namespace skin
