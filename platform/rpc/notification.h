#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <utility>

namespace Rpc
{

/// The place of a client to which a receiver of one of its notifications is assigned, like to a
/// std::function. An empty place drops what arrives. Threads: any may assign while another delivers; a
/// receiver that is replaced while it runs ends undisturbed.
template <class... Arguments>
class CNotification
{
public:
    using Receiver = std::function<void(const Arguments&...)>;

    CNotification& operator=(Receiver newReceiver)
    {
        auto replacement = std::make_shared<const Receiver>(std::move(newReceiver));
        const std::lock_guard lock(mutex);
        receiver.swap(replacement);
        return *this;
    }

    /// Runs the receiver on the caller's thread; what it throws reaches the caller.
    void operator()(const Arguments&... arguments) const
    {
        const std::shared_ptr<const Receiver> present = Present();
        if (present && *present)
        {
            (*present)(arguments...);
        }
    }

private:
    std::shared_ptr<const Receiver> Present() const
    {
        const std::lock_guard lock(mutex);
        return receiver;
    }

    mutable std::mutex mutex;

    // Guarded by mutex
    std::shared_ptr<const Receiver> receiver;
};

} // namespace Rpc
