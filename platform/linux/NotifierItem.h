#pragma once

#include "Carrier.h"

#include <QDBusContext>
#include <QDBusObjectPath>
#include <QDBusServiceWatcher>
#include <QObject>

#include <memory>
#include <tuple>

namespace platform {

class MenuExport;

// The structures of org.kde.StatusNotifierItem.

struct NotifierPixmap
{
    int width = 0;
    int height = 0;
    QByteArray pixels; ///< ARGB of 32 bits, the highest byte first

    static auto members()
    {
        return std::tuple(&NotifierPixmap::width, &NotifierPixmap::height, &NotifierPixmap::pixels);
    }
};

struct NotifierToolTip
{
    QString iconName;
    QList<NotifierPixmap> icon;
    QString title;
    QString text; ///< with markup

    static auto members()
    {
        return std::tuple(&NotifierToolTip::iconName, &NotifierToolTip::icon, &NotifierToolTip::title,
                          &NotifierToolTip::text);
    }
};

/// The item as the desktop draws it (freedesktop.org StatusNotifierItem): a square tile with the hours, their text as a
/// label where the desktop knows `XAyatanaLabel`, and the menu over `com.canonical.dbusmenu`. A left click opens the
/// menu, or is passed on while nobody is signed in; a middle click starts or stops the timer.
///
/// It signals on the bus when, and only when, the hours or the state have changed: the label and the tile, two
/// messages. It registers again with each new watcher, and with one that drops it.
class NotifierItem final : public QObject, public QDBusContext, public Carrier
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierItem")
    Q_PROPERTY(QString Category READ category)
    Q_PROPERTY(QString Id READ id)
    Q_PROPERTY(QString Title READ title)
    Q_PROPERTY(QString Status READ status)
    Q_PROPERTY(int WindowId READ windowId)
    Q_PROPERTY(QString IconThemePath READ none)
    Q_PROPERTY(QString IconName READ none)
    Q_PROPERTY(QList<platform::NotifierPixmap> IconPixmap READ iconPixmap)
    Q_PROPERTY(QString IconAccessibleDesc READ spoken)
    Q_PROPERTY(QString OverlayIconName READ none)
    Q_PROPERTY(QString AttentionIconName READ none)
    Q_PROPERTY(platform::NotifierToolTip ToolTip READ toolTip)
    Q_PROPERTY(bool ItemIsMenu READ itemIsMenu)
    Q_PROPERTY(QDBusObjectPath Menu READ menuPath)
    Q_PROPERTY(QString XAyatanaLabel READ label)
    Q_PROPERTY(QString XAyatanaLabelGuide READ labelGuide)

public:
    /// `refused` is called when the watcher does not take it. `content` has a stand-in with a menu. Where the host
    /// `showsLabel`, the tile leaves the hours to it.
    NotifierItem(const ItemContent& content, bool showsLabel, std::function<void()> refused);
    ~NotifierItem() override;

    void setContent(const ItemContent& content) override;
    StatusItem::Place place() const override { return {false, std::nullopt, {}}; }
    void popUpMenu(QMenu& menu) override;
    QString describe() const override;

    QString category() const { return QStringLiteral("ApplicationStatus"); }
    QString id() const { return QStringLiteral("quillon"); }
    QString title() const { return QStringLiteral("Quillon"); }
    QString status() const { return QStringLiteral("Active"); }
    int windowId() const { return 0; }
    QString none() const { return {}; }
    QList<NotifierPixmap> iconPixmap() const;
    QString spoken() const { return m_description.spoken; }
    NotifierToolTip toolTip() const;
    /// Signed out, a press is answered by the program.
    bool itemIsMenu() const { return !m_description.loggedOut; }
    QDBusObjectPath menuPath() const;
    QString label() const;
    QString labelGuide() const { return QStringLiteral("00:00"); }

public slots:
    // Desktops report positions in other coordinates than the pointer's, so they are not used.
    void Activate(int x, int y);
    void ContextMenu(int x, int y);
    void SecondaryActivate(int x, int y);
    void Scroll(int delta, const QString& orientation);
    /// Permission to raise a window, given before the press that it is for.
    void ProvideXdgActivationToken(const QString& token);

signals:
    void NewIcon();
    void NewToolTip();
    void XAyatanaNewLabel(const QString& label, const QString& guide);

private slots:
    void dropped(const QString& item);

private:
    void enroll();

    QString m_name;
    const bool m_showsLabel;
    const std::function<void()> m_refused;
    const StatusItem::StandIn m_standIn;
    QString m_toolTipTitle;
    StatusItem::Description m_description;
    const std::unique_ptr<MenuExport> m_menu;
    QDBusServiceWatcher m_watcher;
    int m_drops = 0;                       ///< by the present watcher
    mutable QList<NotifierPixmap> m_tiles; ///< of the present description; painted on demand
};

} // namespace platform
