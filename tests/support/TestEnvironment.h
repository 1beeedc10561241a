#pragma once

#include "ManualTimeSource.h"
#include "MemoryLoginItems.h"
#include "MemoryReachability.h"
#include "MemorySecretStore.h"
#include "MemoryStatusItem.h"
#include "RecordingAlerts.h"
#include "RecordingDesktop.h"
#include "RecordingHotKeys.h"
#include "ScriptedIdle.h"
#include "ScriptedSleep.h"

#include "platform/InfoDictionary.h"
#include "platform/Run.h"

#include <QByteArray>
#include <QTemporaryDir>

#include <map>
#include <optional>

namespace support {

/// The XDG folders of this process, put into a fresh temporary folder for the lifetime of the object.
class TemporaryFolders
{
public:
    TemporaryFolders();
    ~TemporaryFolders();
    TemporaryFolders(const TemporaryFolders&) = delete;
    TemporaryFolders& operator=(const TemporaryFolders&) = delete;

    /// A path in the folder that holds them all.
    QString path(const QString& name) const { return m_folder.filePath(name); }

private:
    QTemporaryDir m_folder;
    std::map<QByteArray, std::optional<QByteArray>> m_before;
};

/// Surroundings of one run of the program: all in memory, files in a temporary folder, and the clock of a place where
/// midnight is not that of UTC (10:30 hours ahead in January).
class TestEnvironment final : public platform::Environment
{
public:
    static constexpr auto Zone = "Australia/Adelaide";

    TestEnvironment();

    platform::InfoDictionary& info() override { return information; }
    platform::TimeSource& time() override { return clock; }
    platform::SecretStore& secretStore() override { return secrets; }
    platform::Reachability& reachability() override { return network; }
    platform::AlertPresenter& alerts() override { return alertPresenter; }
    platform::Desktop& desktop() override { return desktopServices; }
    platform::UpdateFeed& updateFeed() override { return updates; }
    platform::HotKeys& hotKeys() override { return keys; }
    platform::LoginItems& loginItems() override { return login; }
    platform::SystemIdle& systemIdle() override { return idle; }
    platform::SleepMonitor& sleepMonitor() override { return sleep; }
    platform::StatusItem& statusItem() override { return item; }

    TemporaryFolders folders;
    /// The built-in values.
    platform::InfoDictionary information;
    ManualTimeSource clock;
    MemorySecretStore secrets;
    MemoryReachability network;
    RecordingAlerts alertPresenter;
    RecordingDesktop desktopServices;
    RecordingUpdateFeed updates;
    RecordingHotKeys keys;
    MemoryLoginItems login;
    ScriptedIdle idle{clock};
    ScriptedSleep sleep{clock};
    MemoryStatusItem item;
};

/// One run of the program in such surroundings.
class TestRun
{
public:
    TestRun() : TestRun(std::make_unique<TestEnvironment>()) {}

private:
    explicit TestRun(std::unique_ptr<TestEnvironment> made);

public:
    TestEnvironment& environment;
    ManualTimeSource& time;
    MemorySecretStore& secrets;
    MemoryReachability& network;
    RecordingAlerts& alerts;
    RecordingDesktop& desktop;
    RecordingUpdateFeed& updates;
    RecordingHotKeys& hotKeys;
    MemoryLoginItems& loginItems;
    ScriptedIdle& idle;
    ScriptedSleep& sleep;
    MemoryStatusItem& statusItem;
    platform::InfoDictionary& info;
    TemporaryFolders& folders;
    platform::Run run;
};

} // namespace support
