#pragma once

#include <memory>

namespace store {
class Context;
class Coordinator;
} // namespace store

namespace model {

class User;

/// What the entities need from the program around them. One per run.
class Host
{
public:
    virtual ~Host() = default;

    /// The host of the current run; null before one is set and after it was reset to null. Any thread.
    static Host* current();
    /// Not owned. Main thread only.
    static void set(Host* host);
    /// The main context of the host; null where there is none. Main thread only.
    static store::Context* currentContext();

    /// The context that the windows show. Main thread only; null when there is none.
    virtual store::Context* mainContext() = 0;
    /// The signed-in user in the main context. Main thread only; null while unknown.
    virtual User* currentUser() = 0;
    /// The same in a context of the calling thread. Any thread.
    virtual User* currentUserInContext(store::Context& context) = 0;
    /// The coordinator of new contexts. Any thread.
    virtual std::shared_ptr<store::Coordinator> coordinator() = 0;
};

} // namespace model
