#pragma once

#include "../TimeSource.h"
#include "Carrier.h"
#include "NotifierHost.h"
#include "TrayWatch.h"

#include <memory>
#include <utility>

namespace platform {

/// The status item wherever this desktop has a place for it at the moment: the view docked in a panel, else an item
/// that the desktop draws, else the floating strip. It switches at run time, as panels come and go.
///
/// The dock and the strip are available at once. The session bus is not asked before the stand-in is given.
class CarrierSwitch final : public StatusItem
{
public:
    explicit CarrierSwitch(TimeSource& time);
    ~CarrierSwitch() override;

    static bool available();

    double thickness() const override { return Carrier::Thickness; }
    void setView(QWidget* view) override;
    void setLength(double points) override { set(m_content.length, points); }
    void setEnabled(bool enabled) override { set(m_content.enabled, enabled); }
    void setToolTip(const QString& text) override { set(m_content.toolTip, text); }
    void setDescription(const Description& description) override { set(m_content.description, description); }
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
    Kind foretell() const;
    void decide();
    void decideSoon();
    void decideSettled();
    void change(Kind kind);
    std::unique_ptr<Carrier> make(Kind kind);
    template <class T>
    void set(T& part, const T& value)
    {
        if (std::exchange(part, value) != value && m_carrier)
            m_carrier->setContent(m_content);
    }
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
    std::unique_ptr<Carrier> m_carrier;
    ItemContent m_content;
    bool m_floating = false;
};

} // namespace platform
