#pragma once

#include "keyring/Frames.h"

#include <QByteArray>
#include <QSocketNotifier>
#include <QString>

#include <array>
#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <optional>

#include <sys/types.h>

namespace platform {

/// Has requests carried out one after another by a process of its own, `quillon-keyring`, which lives while there are
/// any. Main thread only.
class KeyringProcess
{
public:
    /// A request, and what became of it.
    struct Exchange
    {
        ~Exchange();
        bool isBehindAbandoned = false; ///< waits for one that nobody waits for any more
        std::optional<keyring::Outcome> outcome;
        QByteArray found;
        std::function<void(Exchange&)> done;
    };
    using Parts = std::array<QByteArray, 3>;

    /// `program` is the helper's file.
    explicit KeyringProcess(QString program);
    /// Ends the process, whatever it is doing.
    ~KeyringProcess();
    KeyringProcess(const KeyringProcess&) = delete;
    KeyringProcess& operator=(const KeyringProcess&) = delete;

    /// Returns immediately. `done` is called by the queue of the main thread, unless this object is destroyed before.
    std::shared_ptr<Exchange> begin(keyring::Wish wish, const Parts& parts,
                                    std::function<void(Exchange&)> done = nullptr);

    /// `TimedOut` when nothing came in time: the request is abandoned then, but still carried out.
    keyring::Outcome await(Exchange& exchange, std::chrono::milliseconds patience);

    /// Whether an abandoned request is still being carried out.
    bool isHeldUp();

private:
    bool start();
    void watch();
    bool send(keyring::Wish wish, const Parts& parts);
    void receive();
    bool read(void* place, std::size_t size, std::size_t& taken);
    void finish(keyring::Outcome outcome);
    void breakDown();
    void end();

    const QString m_program;
    pid_t m_process = -1;
    int m_socket = -1;
    QSocketNotifier m_notifier{QSocketNotifier::Read};
    std::deque<std::shared_ptr<Exchange>> m_open;
    bool m_heldUp = false;

    // The answer that is being read.
    keyring::Head m_head;
    QByteArray m_part;
    std::size_t m_headRead = 0;
    std::size_t m_partRead = 0;

    const std::shared_ptr<const bool> m_lives = std::make_shared<const bool>(true);
};

} // namespace platform
