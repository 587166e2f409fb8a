#pragma once

#include <memory>

/// A handler for somebody who may outlive @p object: it calls @p operation on the object while that lives,
/// and keeps it alive meanwhile. Afterwards it does nothing. Threads: any may call it while another one
/// releases the object.
template <class Object, class... Arguments>
auto WhileAlive(const std::shared_ptr<Object>& object, void (Object::*operation)(Arguments...))
{
    return [weak = std::weak_ptr<Object>(object), operation](Arguments... arguments)
    {
        if (const std::shared_ptr<Object> living = weak.lock())
        {
            (living.get()->*operation)(arguments...);
        }
    };
}
