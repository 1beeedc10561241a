#pragma once

#include "../StatusItem.h"
#include "../TimeSource.h"
#include "NotifierItem.h"
#include "TrayWatch.h"

#include <memory>

namespace platform {

/// The status item wherever this desktop has a place for it at the moment: the view docked in a panel, else an item
/// that the desktop draws, else the floating strip. It changes over while the program runs, when panels come and go.
///
/// Docked or in the strip it is there at once. The session bus is not asked before the stand-in is given.
class CarrierSwitch final : public StatusItem
{
public:
    explicit CarrierSwitch(TimeSource& time);
    ~CarrierSwitch() override;

    double thickness() const override;
    void setView(QWidget* view) override;
    void setLength(double points) override;
    double length() const override { return m_length; }
    void setEnabled(bool enabled) override;
    void setToolTip(const QString& text) override;
    void setDescription(const Description& description) override;
    void setStandIn(StandIn standIn) override;
    void setFloating(bool floating) override;
    Place place() const override;
    void popUpMenu(QMenu& menu) override;
    void present() override;
    QString describe() const override;

private:
    enum class Kind
    {
        None,
        Dock,
        Notifier,
        Strip
    };

    Kind wanted() const;
    QString foretell() const;
    void decide();
    void decideSoon();
    void decideSettled();
    void change(Kind kind);
    std::unique_ptr<StatusItem> make(Kind kind);
    void trayChanged();
    void hostChanged();

    TimeSource& m_time;
    x11::TrayWatch m_tray;
    NotifierHost m_host;
    bool m_trayRefused = false; ///< the one that is there now
    bool m_hostRefused = false; ///< likewise
    bool m_hostKnown = false;
    std::unique_ptr<TimeSource::Timer> m_settling;
    QObject m_context;

    Kind m_kind = Kind::None;
    std::unique_ptr<StatusItem> m_carrier;

    // What each carrier is told.
    QWidget* m_view = nullptr;
    double m_length = 0;
    bool m_enabled = true;
    QString m_toolTip;
    Description m_description;
    StandIn m_standIn;
    bool m_floating = false;
};

} // namespace platform
