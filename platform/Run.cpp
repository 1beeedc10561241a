#include "Run.h"

#include "MainQueue.h"

#include <QtGlobal>

#include <utility>

namespace platform {

namespace {

Run* s_current = nullptr;

} // namespace

Run::Run(std::unique_ptr<Environment> environment)
    : m_environment(std::move(environment)), m_queue(std::make_unique<MainQueue>())
{
    Q_ASSERT(!s_current);
    s_current = this;
}

Run::~Run()
{
    while (!m_shared.empty()) {
        // Taken off the list first: its destructor may still use what was made before it.
        const Shared last = std::move(m_shared.back());
        m_shared.pop_back();
    }
    m_queue->close();
    m_environment.reset();
    s_current = nullptr;
}

Run& Run::current()
{
    Q_ASSERT(s_current);
    return *s_current;
}

bool Run::exists()
{
    return s_current;
}

void Run::postToMain(std::function<void()> function)
{
    m_queue->post(std::move(function));
}

} // namespace platform
