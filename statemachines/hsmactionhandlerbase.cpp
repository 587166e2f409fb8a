#include "statemachines/hsmactionhandlerbase.h"

#include <stdexcept>

void CHsmActionHandlerBase::SetHsmInterface(IHsmInterface* newHsm)
{
    hsm = newHsm;
}

IHsmInterface& CHsmActionHandlerBase::Hsm() const
{
    if (hsm == nullptr)
    {
        throw std::logic_error("CHsmActionHandlerBase: IHsmInterface not set");
    }
    return *hsm;
}
