#pragma once

#include <QAccessibleWidget>

namespace skin {

/// Exposes widgets of that class to assistive technology by an `Interface`, which is constructed from a reference to
/// one. May be called any number of times. Main thread only.
template <class Widget, class Interface>
void installAccessible()
{
    [[maybe_unused]] static const bool installed = [] {
        QAccessible::installFactory([](const QString& /*className*/, QObject* object) -> QAccessibleInterface* {
            auto* widget = qobject_cast<Widget*>(object);
            return widget ? new Interface(*widget) : nullptr;
        });
        return true;
    }();
}

/// The same with just a role.
template <class Widget, QAccessible::Role spokenAs>
void installAccessibleRole()
{
    struct Interface final : QAccessibleWidget
    {
        explicit Interface(Widget& widget) : QAccessibleWidget(&widget, spokenAs) {}
    };
    installAccessible<Widget, Interface>();
}

} // namespace skin
