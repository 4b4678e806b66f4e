#pragma once

#include "views/UtilityActions.h"

namespace tallywick {

class UtilityState;

/// The actions of the views, carried out by this state, which must outlive the views.
UtilityActions actionsOf(UtilityState& state);

} // namespace tallywick
