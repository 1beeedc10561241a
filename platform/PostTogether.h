#pragma once

#include <functional>
#include <vector>

namespace platform {

class MainQueue;

/// While one exists, what its thread posts to the main thread waits. When it goes, all of it is posted in one go, which
/// wakes the main thread once. A local variable, on any thread but the main one; not within another. The run outlives
/// it.
class PostTogether
{
public:
    PostTogether();
    ~PostTogether();
    PostTogether(const PostTogether&) = delete;
    PostTogether& operator=(const PostTogether&) = delete;

private:
    friend class MainQueue;

    /// Of this thread.
    static PostTogether* current();
    void take(MainQueue& queue, std::function<void()> function);

    MainQueue* m_queue = nullptr;
    std::vector<std::function<void()>> m_waiting;
};

} // namespace platform
