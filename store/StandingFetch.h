#pragma once

#include "store/Predicate.h"

#include <vector>

namespace store {

/// A fetch whose answer is kept: it notes what is touched, and only that is looked at when it is asked again. For a
/// context's own use.
class StandingFetch
{
public:
    StandingFetch(FetchRequest request, int entity) : m_request(std::move(request)), m_entity(entity) {}

    const FetchRequest& request() const { return m_request; }
    int entity() const { return m_entity; }
    bool isFor(const FetchRequest& request) const;

    /// An object was changed, inserted, merged or deleted.
    void touch(ObjectId id);
    /// About to be destroyed.
    void forget(const Object& object);

    /// There is no answer that could be brought up to date: all of it has to be fetched.
    bool isStale() const { return m_stale; }
    void makeStale();
    void take(std::vector<Object*> found);

    /// What was touched since the last call, each once; no longer part of the answer until it is given to `add`.
    std::vector<ObjectId> takeTouched();
    /// Where it belongs, if it matches.
    void add(Object& object);
    const std::vector<Object*>& found() const { return m_found; }

private:
    FetchRequest m_request;
    int m_entity;
    bool m_stale = true;
    std::vector<Object*> m_found;
    std::vector<ObjectId> m_touched;
};

} // namespace store
