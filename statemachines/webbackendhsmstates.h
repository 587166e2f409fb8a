/// The states of the process's machine; see webbackendhsm.h. What they do stands in webbackendhsm.cpp.
#pragma once

#include "statemachines/hsmstate.h"
#include "statemachines/webbackendhsm.h"

namespace WebbackendHsm
{

/// The composite of all leaves, under a level without reactions.
using Statemachine = CompState<CWebbackendHsm, 0, CompState<CWebbackendHsm, 0, TopState<CWebbackendHsm>>>;

using Disabled = LeafState<CWebbackendHsm, 1, Statemachine>;
using Disabling = LeafState<CWebbackendHsm, 2, Statemachine>;
using Enabled = LeafState<CWebbackendHsm, 3, Statemachine>;
using Enabling = LeafState<CWebbackendHsm, 4, Statemachine>;
using Error = LeafState<CWebbackendHsm, 5, Statemachine>;
using FatalError = LeafState<CWebbackendHsm, 6, Statemachine>;
using Initializing = LeafState<CWebbackendHsm, 7, Statemachine>;
using Recovering = LeafState<CWebbackendHsm, 8, Statemachine>;
using Terminating = LeafState<CWebbackendHsm, 9, Statemachine>;
using Uninitialized = LeafState<CWebbackendHsm, 10, Statemachine>;
using Final = LeafState<CWebbackendHsm, 11, Statemachine>;

} // namespace WebbackendHsm

template <>
bool WebbackendHsm::Statemachine::React(const Step& step);

template <>
void WebbackendHsm::Disabled::Entry(CWebbackendHsm& hsm);
template <>
bool WebbackendHsm::Disabled::React(const Step& step);

template <>
void WebbackendHsm::Disabling::Entry(CWebbackendHsm& hsm);
template <>
bool WebbackendHsm::Disabling::React(const Step& step);

template <>
void WebbackendHsm::Enabled::Entry(CWebbackendHsm& hsm);
template <>
void WebbackendHsm::Enabled::Exit(CWebbackendHsm& hsm);
template <>
bool WebbackendHsm::Enabled::React(const Step& step);

template <>
void WebbackendHsm::Enabling::Entry(CWebbackendHsm& hsm);
template <>
bool WebbackendHsm::Enabling::React(const Step& step);

template <>
void WebbackendHsm::Error::Entry(CWebbackendHsm& hsm);
template <>
bool WebbackendHsm::Error::React(const Step& step);

template <>
void WebbackendHsm::FatalError::Entry(CWebbackendHsm& hsm);
template <>
bool WebbackendHsm::FatalError::React(const Step& step);

template <>
void WebbackendHsm::Initializing::Entry(CWebbackendHsm& hsm);
template <>
bool WebbackendHsm::Initializing::React(const Step& step);

template <>
void WebbackendHsm::Recovering::Entry(CWebbackendHsm& hsm);
template <>
bool WebbackendHsm::Recovering::React(const Step& step);

template <>
void WebbackendHsm::Terminating::Entry(CWebbackendHsm& hsm);
template <>
bool WebbackendHsm::Terminating::React(const Step& step);

template <>
void WebbackendHsm::Uninitialized::Entry(CWebbackendHsm& hsm);
template <>
bool WebbackendHsm::Uninitialized::React(const Step& step);

template <>
void WebbackendHsm::Final::Entry(CWebbackendHsm& hsm);
