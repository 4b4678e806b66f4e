#include "state/StateContext.h"

#include <utility>

namespace tallywick {

UtilityFields& StateContext::change() {
    if (!std::exchange(changeAnnounced, true))
        relay.entrance()([this] {
            changeAnnounced = false;
            owner.changed();
        });
    return published;
}

} // namespace tallywick
