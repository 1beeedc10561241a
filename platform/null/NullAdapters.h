#pragma once

#include "../Alerts.h"
#include "../Desktop.h"
#include "../HotKeys.h"
#include "../LoginItems.h"
#include "../Reachability.h"
#include "../SecretStore.h"
#include "../SleepMonitor.h"
#include "../StatusItem.h"
#include "../SystemIdle.h"
#include "../UpdateFeed.h"

#include <QWidget>

/// The last candidates: used where the desktop offers nothing. They fail in each interface's way of saying "cannot be
/// done", so that callers need no check of their own.
namespace platform {

class NullSecretStore final : public SecretStore
{
public:
    Result<std::optional<QByteArray>> lookup(const QString&, const QString&) override;
    void unlockAndLookup(const QString&, const QString&,
                         std::function<void(Result<std::optional<QByteArray>>)> done) override;
    Result<void> store(const QString&, const QString&, const QByteArray&, Stored) override;
    Result<void> remove(const QString&, const QString&) override;
};

class NullReachability final : public Reachability
{
public:
    std::unique_ptr<Watch> watch(const QString& host, std::function<void(bool)> changed) override;
};

/// There is no answer to wait for.
class NullAlerts final : public AlertPresenter
{
public:
    AlertId show(const Alert&, std::function<void(int)>) override { return {}; }
    void update(AlertId, const Alert&) override {}
    void dismiss(AlertId) override {}
};

class NullDesktop final : public Desktop
{
public:
    bool open(const QUrl&) override { return false; }
    void setShownInTaskBar(bool) override {}
    bool canLeaveTaskBar() const override { return false; }
    void bringForward(QWidget& window) override { window.show(); }
    void activate(QWidget& window) override { window.show(); }
};

class NullUpdateFeed final : public UpdateFeed
{
public:
    bool isSetUp() const override { return false; }
    void setCheckIntervalSeconds(int) override {}
    bool automaticallyChecksForUpdates() const override { return false; }
    void setAutomaticallyChecksForUpdates(bool) override {}
    void checkInBackground() override {}
    void check() override {}
};

class NullHotKeys final : public HotKeys
{
public:
    void setHandlers(std::function<void(int)>, std::function<void()>) override {}
    std::unique_ptr<Registration> registerHotKey(const HotKey& key) override;
    void setPaused(bool) override {}
};

class NullLoginItems final : public LoginItems
{
public:
    bool insert(const QString&, const QStringList&) override { return false; }
    std::optional<std::vector<Item>> snapshot() const override { return std::nullopt; }
    std::optional<QString> resolve(const Item&) const override { return std::nullopt; }
    bool remove(const Item&) override { return false; }
};

class NullSystemIdle final : public SystemIdle
{
public:
    std::optional<std::chrono::milliseconds> idleTime() override { return std::nullopt; }
};

class NullSleepMonitor final : public SleepMonitor
{
public:
    std::unique_ptr<Watch> watch(std::function<void()>, std::function<void()>) override { return nullptr; }
};

class NullStatusItem final : public StatusItem
{
public:
    double thickness() const override { return 22; }
    void setView(QWidget*) override {}
    void setLength(double) override {}
    void setEnabled(bool) override {}
    void setToolTip(const QString&) override {}
    void setDescription(const Description&) override {}
    void setStandIn(StandIn) override {}
    void setFloating(bool) override {}
    Place place() const override { return {}; }
    void popUpMenu(QMenu& menu) override;
    void present() override {}
    QString describe() const override { return QStringLiteral("nowhere: there is no display"); }
};

} // namespace platform
