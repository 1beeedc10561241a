#include "editing/PickerMenuAccessible.h"

#include "editing/PickerMenu.h"
#include "skin/Geometrics.h"

#include <QAccessibleWidget>
#include <QPointer>

#include <unordered_map>

namespace editing {
namespace {

class ItemAccessible final : public QAccessibleInterface, public QAccessibleActionInterface
{
public:
    ItemAccessible(PickerMenu& menu, int item) : m_menu(&menu), m_item(item) {}

    int item() const { return m_item; }

    bool isValid() const override { return m_menu && m_item < static_cast<int>(m_menu->items().size()); }
    QObject* object() const override { return nullptr; }
    QAccessibleInterface* parent() const override { return QAccessible::queryAccessibleInterface(m_menu.data()); }
    QAccessibleInterface* child(int) const override { return nullptr; }
    QAccessibleInterface* childAt(int, int) const override { return nullptr; }
    int childCount() const override { return 0; }
    int indexOfChild(const QAccessibleInterface*) const override { return -1; }
    QAccessible::Role role() const override { return QAccessible::MenuItem; }
    void setText(QAccessible::Text, const QString&) override {}

    QString text(QAccessible::Text which) const override
    {
        return isValid() && which == QAccessible::Name ? skin::displayable(content().title) : QString();
    }
    QRect rect() const override
    {
        return isValid() ? m_menu->itemRect(m_item).translated(m_menu->viewport()->mapToGlobal(QPoint(0, 0))) : QRect();
    }
    QAccessible::State state() const override
    {
        QAccessible::State state;
        state.invalid = !isValid();
        if (state.invalid)
            return state;
        state.disabled = !content().tag;
        state.checkable = !state.disabled;
        state.checked = m_menu->isChecked(content());
        state.hotTracked = true;
        state.focused = m_menu->activeItem() == m_item;
        state.invisible = !m_menu->isVisible();
        state.offscreen = !m_menu->viewport()->rect().intersects(m_menu->itemRect(m_item));
        return state;
    }
    void* interface_cast(QAccessible::InterfaceType type) override
    {
        return type == QAccessible::ActionInterface ? static_cast<QAccessibleActionInterface*>(this) : nullptr;
    }
    QStringList actionNames() const override { return {pressAction()}; }
    QStringList keyBindingsForAction(const QString&) const override { return {}; }
    void doAction(const QString& name) override
    {
        // Answer first: what follows closes the menu, and the caller waits.
        if (isValid() && name == pressAction())
            QMetaObject::invokeMethod(
                m_menu, [menu = m_menu.data(), item = m_item] { menu->trigger(item); }, Qt::QueuedConnection);
    }

private:
    const PickerMenu::Item& content() const { return m_menu->items()[static_cast<std::size_t>(m_item)]; }

    QPointer<PickerMenu> m_menu;
    int m_item;
};

class MenuAccessible final : public QAccessibleWidget
{
public:
    explicit MenuAccessible(PickerMenu& menu) : QAccessibleWidget(&menu, QAccessible::PopupMenu) {}
    ~MenuAccessible() override
    {
        for (const auto& [item, id] : m_items)
            QAccessible::deleteAccessibleInterface(id);
    }

    int childCount() const override { return static_cast<int>(menu().items().size()); }

    QAccessibleInterface* child(int index) const override
    {
        if (index < 0 || index >= childCount())
            return nullptr;
        QAccessible::Id& id = m_items[index];
        if (id == 0)
            id = QAccessible::registerAccessibleInterface(new ItemAccessible(menu(), index));
        return QAccessible::accessibleInterface(id);
    }

    int indexOfChild(const QAccessibleInterface* child) const override
    {
        const auto* item = dynamic_cast<const ItemAccessible*>(child);
        return item && item->isValid() && item->parent() == this ? item->item() : -1;
    }

    QAccessibleInterface* childAt(int x, int y) const override
    {
        return child(menu().itemAt(menu().viewport()->mapFromGlobal(QPoint(x, y))));
    }

    QAccessibleInterface* focusChild() const override { return child(menu().activeItem()); }

private:
    PickerMenu& menu() const { return *static_cast<PickerMenu*>(object()); }

    mutable std::unordered_map<int, QAccessible::Id> m_items; ///< those asked for so far
};

} // namespace

void installPickerMenuAccessible()
{
    [[maybe_unused]] static const bool s_installed = [] {
        QAccessible::installFactory([](const QString&, QObject* object) -> QAccessibleInterface* {
            auto* menu = qobject_cast<PickerMenu*>(object);
            return menu ? new MenuAccessible(*menu) : nullptr;
        });
        return true;
    }();
}

} // namespace editing
