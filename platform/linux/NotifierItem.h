#pragma once

#include "../StatusItem.h"

#include <memory>

namespace platform {

/// Whether the desktop has a place for items that it draws itself: a `org.kde.StatusNotifierWatcher` on the session bus
/// with a host behind it. Nothing is asked before `begin`, and nothing blocks. Main thread only.
class NotifierHost final
{
public:
    /// `changed` comes when `isThere` has become another one.
    explicit NotifierHost(std::function<void()> changed);
    ~NotifierHost();

    void begin();
    bool isThere() const;
    /// Waits for the answer, half a second at most.
    static bool isThereNow();

    class Watch;

private:
    std::unique_ptr<Watch> m_watch;
};

/// The item as the desktop draws it (freedesktop.org StatusNotifierItem): a square tile with the hours, their text as a
/// label where the desktop knows `XAyatanaLabel`, and the menu over `com.canonical.dbusmenu`. A left click opens the
/// menu, or is passed on while nobody is signed in; a middle click starts or stops the timer.
///
/// It says on the bus that something is new when, and only when, the hours or the state became others: the label and
/// the tile, two messages. It registers again with each watcher that comes.
class NotifierItem final : public StatusItem
{
public:
    /// `refused` is told when the watcher does not take it; it must not destroy this.
    explicit NotifierItem(std::function<void()> refused);
    ~NotifierItem() override;

    double thickness() const override;
    /// It cannot show a view.
    void setView(QWidget*) override {}
    void setLength(double points) override { m_length = points; }
    double length() const override { return m_length; }
    void setEnabled(bool) override {}
    void setToolTip(const QString& text) override;
    void setDescription(const Description& description) override;
    void setStandIn(StandIn standIn) override;
    void setFloating(bool) override {}
    Place place() const override { return {false, std::nullopt}; }
    void popUpMenu(QMenu& menu) override;
    void present() override {}
    QString describe() const override;

    class Object;

private:
    std::unique_ptr<Object> m_object;
    double m_length = 0;
};

} // namespace platform
