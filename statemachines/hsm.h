/// The engine of hierarchical state machines whose states and events are types.
///
/// A machine is CHsm over its action handler's base, and consists of events (hsmevent.h), states (hsmstate.h)
/// and actions (hsmactionhandlerbase.h). It runs on the thread that calls Run, takes one event at a time, and
/// traces every step. Reactions call actions only; whatever touches the world outside stands behind the
/// action handler.
#pragma once

#include "statemachines/hsmactionhandlerbase.h"
#include "statemachines/hsminterface.h"
#include "statemachines/hsmstate.h"
#include "statemachines/hsmtrace.h"

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <string_view>
#include <utility>

/// Threads: as IHsmInterface says. The operations for state classes belong to the machine's thread.
template <class ActionHandlerBase>
class CHsm : public IHsmInterface
{
public:
    /// Enters itself into the handler, which must not post before that.
    explicit CHsm(std::shared_ptr<ActionHandlerBase> actionHandler);
    ~CHsm() override;
    CHsm(const CHsm&) = delete;
    CHsm& operator=(const CHsm&) = delete;
    CHsm(CHsm&&) = delete;
    CHsm& operator=(CHsm&&) = delete;

    void PostEvent(std::shared_ptr<IHsmEvent> event) override;
    void Run() override;
    void Stop() override;
    bool IsRunning() override;

    /// Lets go of the events that wait, and from now on of each that is posted, so that their senders get a
    /// std::future_error instead of waiting for ever. To be called once Run has returned for good.
    void Close();

    /// For state classes: where their actions run.
    ActionHandlerBase& ActionHandler() { return *actionHandler; }

    /// For state classes: runs the entry actions of Leaf and makes it the current state.
    template <class Leaf>
    void Enter();

    /// Name of a state by its number, 0 for the machine itself. Each machine specialises this.
    static std::string_view StateName(unsigned number);

private:
    /// Each machine specialises this, with Enter of its initial leaf.
    void EnterInitialState();

    /// Waits for the next event; null when the machine was stopped.
    std::shared_ptr<IHsmEvent> NextEvent();

    // Constant after construction
    const std::shared_ptr<ActionHandlerBase> actionHandler;

    // Touched by the machine's thread only
    const TopState<CHsm>* currentState = nullptr;

    // Guarded by mutex
    std::deque<std::shared_ptr<IHsmEvent>> queue;
    bool running = true;
    bool closed = false;

    std::condition_variable wakeUp;
    std::mutex mutex;
};

template <class ActionHandlerBase>
CHsm<ActionHandlerBase>::CHsm(std::shared_ptr<ActionHandlerBase> actionHandler)
    : actionHandler(std::move(actionHandler))
{
    this->actionHandler->SetHsmInterface(this);
}

template <class ActionHandlerBase>
CHsm<ActionHandlerBase>::~CHsm()
{
    actionHandler->SetHsmInterface(nullptr);
}

// Also called in signal context: no more than is needed.
template <class ActionHandlerBase>
void CHsm<ActionHandlerBase>::PostEvent(std::shared_ptr<IHsmEvent> event)
{
    {
        const std::lock_guard lock(mutex);
        if (closed)
        {
            return;
        }
        queue.push_back(std::move(event));
    }
    wakeUp.notify_all();
}

template <class ActionHandlerBase>
void CHsm<ActionHandlerBase>::Run()
{
    if (currentState == nullptr)
    {
        HsmTrace::Init(StateName(0));
        EnterInitialState();
    }
    while (IsRunning())
    {
        if (const std::shared_ptr<IHsmEvent> event = NextEvent())
        {
            currentState->Process(*this, *event);
        }
    }
}

template <class ActionHandlerBase>
void CHsm<ActionHandlerBase>::Stop()
{
    {
        const std::lock_guard lock(mutex);
        running = false;
    }
    wakeUp.notify_all();
}

template <class ActionHandlerBase>
bool CHsm<ActionHandlerBase>::IsRunning()
{
    const std::lock_guard lock(mutex);
    return running;
}

template <class ActionHandlerBase>
void CHsm<ActionHandlerBase>::Close()
{
    // outlives the lock: promises break, and their waiters wake up, outside it
    std::deque<std::shared_ptr<IHsmEvent>> dropped;
    const std::lock_guard lock(mutex);
    closed = true;
    queue.swap(dropped);
}

template <class ActionHandlerBase>
template <class Leaf>
void CHsm<ActionHandlerBase>::Enter()
{
    HsmTrace::Entry(Leaf::Name());
    Leaf::Entry(*this);
    currentState = &Leaf::Instance;
}

template <class ActionHandlerBase>
std::shared_ptr<IHsmEvent> CHsm<ActionHandlerBase>::NextEvent()
{
    std::unique_lock lock(mutex);
    wakeUp.wait(lock, [this] { return !queue.empty() || !running; });
    if (!running)
    {
        return nullptr;
    }
    std::shared_ptr<IHsmEvent> event = std::move(queue.front());
    queue.pop_front();
    return event;
}
