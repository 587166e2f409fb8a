#pragma once

#include "statemachines/hsmevent.h"

#include <functional>
#include <string>
#include <utility>

/// An event that no machine knows, with something to do when the machine answers it.
class CFakeHsmEvent : public IHsmEvent
{
public:
    CFakeHsmEvent(std::string name, std::function<void(bool handled)> onAnswer)
        : name(std::move(name))
        , onAnswer(std::move(onAnswer))
    {
    }

    const std::string& Name() const override { return name; }
    void Answer(bool handled) override { onAnswer(handled); }

private:
    const std::string name;
    const std::function<void(bool)> onAnswer;
};
