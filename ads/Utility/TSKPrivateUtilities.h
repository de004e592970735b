#pragma once

#include <QObject>

#include <memory>

// The process-wide table from a public object to its private implementation.
// Keys are compared by identity and never kept alive (a public object removes
// its entry when it goes away); the table owns the private objects.
class TSKPrivateUtilities
{
public:
    // Replaces (and destroys) any object stored for the key; a null object
    // just removes the entry.
    static void setPrivateObjectForKey(std::unique_ptr<QObject> object, const void *key);
    static QObject *privateObjectForKey(const void *key);
    static void removePrivateObjectForKey(const void *key);

    template<typename T>
    static T *privateObjectForKey(const void *key)
    {
        return qobject_cast<T *>(privateObjectForKey(key));
    }
};
