#include "Utility/TSKPrivateUtilities.h"

#include <unordered_map>

namespace {

using Table = std::unordered_map<const void *, std::unique_ptr<QObject>>;

// Never destroyed: private objects may be looked up until the very end.
Table &table()
{
    static Table *const instance = new Table;
    return *instance;
}

}  // namespace

void TSKPrivateUtilities::setPrivateObjectForKey(std::unique_ptr<QObject> object, const void *key)
{
    if (!object) {
        removePrivateObjectForKey(key);
        return;
    }
    // Take the old value out before destroying it, so that its destructor
    // finds the table in a consistent state.
    std::unique_ptr<QObject> previous = std::exchange(table()[key], std::move(object));
}

QObject *TSKPrivateUtilities::privateObjectForKey(const void *key)
{
    const auto found = table().find(key);
    return found == table().end() ? nullptr : found->second.get();
}

void TSKPrivateUtilities::removePrivateObjectForKey(const void *key)
{
    const auto found = table().find(key);
    if (found == table().end())
        return;
    std::unique_ptr<QObject> removed = std::move(found->second);
    table().erase(found);
}
