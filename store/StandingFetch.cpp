#include "store/StandingFetch.h"

#include "store/Object.h"

#include <algorithm>
#include <utility>

namespace store {

namespace {

/// Beyond that one query costs less than looking at each.
constexpr std::size_t MostTouched = 64;

bool isSame(const Condition& one, const Condition& other)
{
    return one.keyPath == other.keyPath && one.op == other.op && one.value == other.value &&
           one.object == other.object && one.comparesObject == other.comparesObject;
}

} // namespace

bool StandingFetch::isFor(const FetchRequest& request) const
{
    return m_request.entity == request.entity &&
           std::ranges::equal(m_request.predicate.conditions(), request.predicate.conditions(), isSame) &&
           m_request.sortKeys == request.sortKeys;
}

void StandingFetch::touch(ObjectId id)
{
    if (m_stale || id.entity != m_entity || (!m_touched.empty() && m_touched.back() == id))
        return;
    m_touched.push_back(id);
    if (m_touched.size() > MostTouched)
        makeStale();
}

void StandingFetch::forget(const Object& object)
{
    if (object.id().entity == m_entity)
        std::erase(m_found, &object);
}

void StandingFetch::makeStale()
{
    m_stale = true;
    m_found.clear();
    m_touched.clear();
}

void StandingFetch::take(std::vector<Object*> found)
{
    m_stale = false;
    m_found = std::move(found);
    m_touched.clear();
}

std::vector<ObjectId> StandingFetch::takeTouched()
{
    std::vector<ObjectId> touched;
    for (const ObjectId& id : std::exchange(m_touched, {})) {
        if (std::ranges::find(touched, id) == touched.end())
            touched.push_back(id);
    }
    if (!touched.empty()) {
        std::erase_if(m_found, [&touched](const Object* object) {
            return std::ranges::find(touched, object->id()) != touched.end();
        });
    }
    return touched;
}

void StandingFetch::add(Object& object)
{
    if (!matches(object, m_request.predicate))
        return;
    const auto place = std::ranges::upper_bound(m_found, &object, [this](const Object* one, const Object* other) {
        return comesBefore(*one, *other, m_request.sortKeys);
    });
    m_found.insert(place, &object);
}

} // namespace store
