#include "MenuExport.h"

#include "DBus.h"

#include <QAction>
#include <QDBusMetaType>
#include <QEvent>
#include <QGuiApplication>
#include <QKeySequence>
#include <QMenu>

#include <algorithm>

namespace platform {

using namespace Qt::StringLiterals;

namespace {

constexpr int Root = 0;

/// Qt marks a mnemonic with "&", the bus with "_"; doubled, each stands for itself.
QString label(const QString& text)
{
    QString out;
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (text.at(i) == u'_') {
            out += u"__"_s;
        } else if (text.at(i) != u'&') {
            out += text.at(i);
        } else if (i + 1 < text.size() && text.at(i + 1) == u'&') {
            out += u'&';
            ++i;
        } else {
            out += u'_';
        }
    }
    return out;
}

/// The keys of one combination: "Control", "Alt", "Shift", "Super", then the key.
QList<QStringList> shortcut(const QKeySequence& keys)
{
    QStringList names;
    const QKeyCombination combination = keys[0];
    constexpr std::pair<Qt::KeyboardModifier, QLatin1StringView> modifiers[] = {
        {Qt::ControlModifier, "Control"_L1},
        {Qt::AltModifier, "Alt"_L1},
        {Qt::ShiftModifier, "Shift"_L1},
        {Qt::MetaModifier, "Super"_L1},
    };
    for (const auto& [modifier, name] : modifiers) {
        if (combination.keyboardModifiers() & modifier)
            names << name;
    }
    names << QKeySequence(combination.key()).toString(QKeySequence::PortableText);
    return {names};
}

/// What differs from the defaults of the protocol.
QVariantMap propertiesOf(const QAction& action)
{
    QVariantMap properties;
    if (!action.isVisible())
        properties.insert(u"visible"_s, false);
    if (action.isSeparator()) {
        properties.insert(u"type"_s, u"separator"_s);
        return properties;
    }
    properties.insert(u"label"_s, label(action.text()));
    if (!action.isEnabled())
        properties.insert(u"enabled"_s, false);
    if (!action.shortcut().isEmpty())
        properties.insert(u"shortcut"_s, QVariant::fromValue(shortcut(action.shortcut())));
    return properties;
}

/// Those requested; no names: all.
QVariantMap chosen(QVariantMap properties, const QStringList& names)
{
    if (!names.isEmpty())
        properties.removeIf([&](auto entry) { return !names.contains(entry.key()); });
    return properties;
}

QVariantMap rootProperties()
{
    return {{u"children-display"_s, u"submenu"_s}};
}

} // namespace

MenuExport::MenuExport(QMenu& menu) : m_menu(&menu)
{
    qDBusRegisterMetaType<MenuLayout>();
    qDBusRegisterMetaType<MenuItem>();
    qDBusRegisterMetaType<QList<MenuItem>>();
    qDBusRegisterMetaType<MenuItemKeys>();
    qDBusRegisterMetaType<QList<MenuItemKeys>>();
    qDBusRegisterMetaType<MenuEvent>();
    qDBusRegisterMetaType<QList<MenuEvent>>();
    qDBusRegisterMetaType<QList<QStringList>>();
    m_changed.setSingleShot(true);
    connect(&m_changed, &QTimer::timeout, this, &MenuExport::announce);
    menu.installEventFilter(this);
    m_announced = items();
}

QString MenuExport::textDirection() const
{
    return QGuiApplication::isRightToLeft() ? u"rtl"_s : u"ltr"_s;
}

int MenuExport::idOf(QAction* action)
{
    auto known = std::find(m_actions.begin(), m_actions.end(), action);
    if (known == m_actions.end())
        known = m_actions.insert(known, action);
    return static_cast<int>(known - m_actions.begin()) + 1;
}

QAction* MenuExport::actionOf(int id) const
{
    // An item that has since been removed from the menu does not exist.
    if (!m_menu || id < 1 || id > static_cast<int>(m_actions.size()))
        return nullptr;
    QAction* action = m_actions[static_cast<std::size_t>(id - 1)];
    return m_menu->actions().contains(action) ? action : nullptr;
}

std::vector<MenuItem> MenuExport::items()
{
    std::vector<MenuItem> list;
    if (!m_menu)
        return list;
    for (QAction* action : m_menu->actions())
        list.push_back({idOf(action), propertiesOf(*action)});
    return list;
}

uint MenuExport::GetLayout(int parentId, int recursionDepth, const QStringList& propertyNames, MenuLayout& layout)
{
    layout.id = parentId;
    if (parentId == Root) {
        layout.properties = chosen(rootProperties(), propertyNames);
        if (recursionDepth != 0) {
            for (const MenuItem& item : items())
                layout.children << QVariant::fromValue(MenuLayout{item.id, chosen(item.properties, propertyNames), {}});
        }
    } else if (const QAction* action = actionOf(parentId)) {
        layout.properties = chosen(propertiesOf(*action), propertyNames);
    }
    return m_revision;
}

QList<MenuItem> MenuExport::GetGroupProperties(const QList<int>& ids, const QStringList& propertyNames)
{
    QList<MenuItem> list;
    if (ids.isEmpty() || ids.contains(Root))
        list << MenuItem{Root, chosen(rootProperties(), propertyNames)};
    for (const MenuItem& item : items()) {
        if (ids.isEmpty() || ids.contains(item.id))
            list << MenuItem{item.id, chosen(item.properties, propertyNames)};
    }
    return list;
}

QDBusVariant MenuExport::GetProperty(int id, const QString& name)
{
    const QAction* action = actionOf(id);
    const QVariantMap properties = id == Root ? rootProperties() : action ? propertiesOf(*action) : QVariantMap();
    // A variant on the bus has to hold something.
    return QDBusVariant(properties.value(name, QString()));
}

void MenuExport::Event(int id, const QString& eventId, const QDBusVariant& /*data*/, uint /*timestamp*/)
{
    if (eventId != "clicked"_L1)
        return;
    QAction* action = actionOf(id);
    // The desktop gets its answer first. What it shows may be older than the menu is now.
    if (action && action->isEnabled() && action->isVisible() && !action->isSeparator())
        QMetaObject::invokeMethod(action, &QAction::trigger, Qt::QueuedConnection);
}

QList<int> MenuExport::EventGroup(const QList<MenuEvent>& events)
{
    QList<int> unknown;
    for (const MenuEvent& event : events) {
        if (event.id != Root && !actionOf(event.id))
            unknown << event.id;
        Event(event.id, event.name, event.data, event.timestamp);
    }
    return unknown;
}

bool MenuExport::AboutToShow(int /*id*/)
{
    // Changes were announced when they were made.
    return false;
}

QList<int> MenuExport::AboutToShowGroup(const QList<int>& ids, QList<int>& idErrors)
{
    for (const int id : ids) {
        if (id != Root && !actionOf(id))
            idErrors << id;
    }
    return {};
}

bool MenuExport::eventFilter(QObject* watched, QEvent* event)
{
    switch (event->type()) {
    case QEvent::ActionAdded:
    case QEvent::ActionChanged:
    case QEvent::ActionRemoved:
        m_changed.start(0);
        break;
    default:
        break;
    }
    return QObject::eventFilter(watched, event);
}

void MenuExport::announce()
{
    const std::vector<MenuItem> before = std::exchange(m_announced, items());
    if (!std::ranges::equal(before, m_announced, {}, &MenuItem::id, &MenuItem::id))
        emit LayoutUpdated(++m_revision, Root);
    // Of items that stay, even when the layout differs: desktops reload only the new ones.
    QList<MenuItem> updated;
    QList<MenuItemKeys> removed;
    for (const MenuItem& item : m_announced) {
        const auto known = std::ranges::find(before, item.id, &MenuItem::id);
        if (known == before.end())
            continue;
        QVariantMap changed = item.properties;
        changed.removeIf([&](auto entry) { return known->properties.value(entry.key()) == entry.value(); });
        QStringList gone = known->properties.keys();
        gone.removeIf([&](const QString& key) { return item.properties.contains(key); });
        if (!changed.isEmpty())
            updated << MenuItem{item.id, changed};
        if (!gone.isEmpty())
            removed << MenuItemKeys{item.id, gone};
    }
    if (!updated.isEmpty() || !removed.isEmpty())
        emit ItemsPropertiesUpdated(updated, removed);
}

} // namespace platform
