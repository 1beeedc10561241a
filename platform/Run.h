#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <typeindex>
#include <vector>

namespace platform {

class AlertPresenter;
class Desktop;
class HotKeys;
class InfoDictionary;
class LoginItems;
class MainQueue;
class Reachability;
class SecretStore;
class SleepMonitor;
class StatusItem;
class SystemIdle;
class TimeSource;
class UpdateFeed;

/// The environment of one run of the program. Each part is made on first use.
class Environment
{
public:
    virtual ~Environment() = default;
    virtual InfoDictionary& info() = 0;
    virtual TimeSource& time() = 0;
    virtual SecretStore& secretStore() = 0;
    virtual Reachability& reachability() = 0;
    virtual AlertPresenter& alerts() = 0;
    virtual Desktop& desktop() = 0;
    virtual UpdateFeed& updateFeed() = 0;
    virtual HotKeys& hotKeys() = 0;
    virtual LoginItems& loginItems() = 0;
    virtual SystemIdle& systemIdle() = 0;
    virtual SleepMonitor& sleepMonitor() = 0;
    /// Made by the first call; null where the run has no display.
    virtual StatusItem& statusItem() = 0;
};

/// One run of the program: owns everything shared in it.
///
/// `main` makes one; each test makes its own. Shared objects are made on first use and destroyed in reverse order when
/// the run ends. Made and destroyed on the main thread, when no other thread uses it any more; `shared` and
/// `postToMain` may be called from any thread.
class Run
{
public:
    explicit Run(std::unique_ptr<Environment> environment);
    ~Run();
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;

    /// The current run. Calling this outside a run is a bug in the caller.
    static Run& current();
    static bool exists();

    Environment& environment() { return *m_environment; }

    /// The run's one `T`, made on first use.
    template <class T>
    T& shared()
    {
        // Recursive: what is made may use other shared objects.
        const std::lock_guard lock(m_sharedMutex);
        const std::type_index type(typeid(T));
        for (const Shared& entry : m_shared) {
            if (entry.type == type)
                return *static_cast<T*>(entry.object.get());
        }
        // Made before it is noted, so that what it uses in turn is destroyed after it.
        auto object = std::shared_ptr<T>(new T, [](T* made) { delete made; });
        m_shared.push_back({type, object});
        return *object;
    }

    /// Calls `function` on the main thread, never within this call. Calls run in the order in which they were posted,
    /// from whichever thread. Those still waiting when the run ends are dropped.
    void postToMain(std::function<void()> function);

private:
    struct Shared
    {
        std::type_index type;
        std::shared_ptr<void> object;
    };
    std::unique_ptr<Environment> m_environment;
    std::unique_ptr<MainQueue> m_queue;
    std::recursive_mutex m_sharedMutex;
    std::vector<Shared> m_shared;
};

/// The current run's.
inline Environment& environment()
{
    return Run::current().environment();
}

} // namespace platform
