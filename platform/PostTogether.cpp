#include "PostTogether.h"

#include "MainQueue.h"

#include <QtGlobal>

#include <utility>

namespace platform {

namespace {

thread_local PostTogether* s_current = nullptr;

} // namespace

PostTogether::PostTogether()
{
    Q_ASSERT(!s_current);
    s_current = this;
}

PostTogether::~PostTogether()
{
    s_current = nullptr;
    if (m_queue)
        m_queue->post(std::move(m_waiting));
}

PostTogether* PostTogether::current()
{
    return s_current;
}

void PostTogether::take(MainQueue& queue, std::function<void()> function)
{
    m_queue = &queue;
    m_waiting.push_back(std::move(function));
}

} // namespace platform
