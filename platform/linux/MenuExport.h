#pragma once

#include <QDBusVariant>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <QVariantMap>

#include <tuple>
#include <vector>

class QAction;
class QMenu;

namespace platform {

// The structures of com.canonical.dbusmenu, version 3 (libdbusmenu, dbus-menu.xml).

struct MenuLayout
{
    int id = 0;
    QVariantMap properties;
    QVariantList children; ///< of MenuLayout

    static auto members() { return std::tuple(&MenuLayout::id, &MenuLayout::properties, &MenuLayout::children); }
};
struct MenuItem
{
    int id = 0;
    QVariantMap properties;

    static auto members() { return std::tuple(&MenuItem::id, &MenuItem::properties); }
    bool operator==(const MenuItem&) const = default;
};
struct MenuItemKeys
{
    int id = 0;
    QStringList properties;

    static auto members() { return std::tuple(&MenuItemKeys::id, &MenuItemKeys::properties); }
};
struct MenuEvent
{
    int id = 0;
    QString name;
    QDBusVariant data;
    uint timestamp = 0;

    static auto members()
    {
        return std::tuple(&MenuEvent::id, &MenuEvent::name, &MenuEvent::data, &MenuEvent::timestamp);
    }
};

/// A flat menu for desktops that draw it themselves, in their own place and style: `com.canonical.dbusmenu`.
///
/// Announces changes on the bus, once per turn of the event loop and only when there are any. Main thread only.
class MenuExport final : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.canonical.dbusmenu")
    Q_PROPERTY(uint Version READ version)
    Q_PROPERTY(QString Status READ status)
    Q_PROPERTY(QString TextDirection READ textDirection)
    Q_PROPERTY(QStringList IconThemePath READ iconThemePath)
public:
    /// `menu` is not owned; when it is destroyed, the menu on the bus is empty. To be registered with all slots,
    /// signals and properties.
    explicit MenuExport(QMenu& menu);

    uint version() const { return 3; }
    QString status() const { return QStringLiteral("normal"); }
    QString textDirection() const;
    QStringList iconThemePath() const { return {}; }

public slots:
    uint GetLayout(int parentId, int recursionDepth, const QStringList& propertyNames, platform::MenuLayout& layout);
    QList<platform::MenuItem> GetGroupProperties(const QList<int>& ids, const QStringList& propertyNames);
    QDBusVariant GetProperty(int id, const QString& name);
    void Event(int id, const QString& eventId, const QDBusVariant& data, uint timestamp);
    QList<int> EventGroup(const QList<platform::MenuEvent>& events);
    bool AboutToShow(int id);
    QList<int> AboutToShowGroup(const QList<int>& ids, QList<int>& idErrors);

signals:
    void LayoutUpdated(uint revision, int parent);
    void ItemsPropertiesUpdated(const QList<platform::MenuItem>& updatedProps,
                                const QList<platform::MenuItemKeys>& removedProps);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    std::vector<MenuItem> items();
    int idOf(QAction* action);
    QAction* actionOf(int id) const;
    void announce();

    QPointer<QMenu> m_menu;
    std::vector<QPointer<QAction>> m_actions; ///< an item's id is its place here, counted from 1
    std::vector<MenuItem> m_announced;
    uint m_revision = 1;
    QTimer m_changed;
};

} // namespace platform
