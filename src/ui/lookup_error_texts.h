#pragma once

// The localized keys of the lookup pipeline's failures: what a card says for each
// LookupErrorCode. The codes are the pipeline's; the words are the interface's, so
// the mapping lives here. Every card that shows a LookupError (hover, area, and
// the select and input cards) reads it. Constant tables; any thread.

#include <string_view>

#include "core/lookup/lookup_model.h"

namespace trelvis {

// The heading of the error card: a general one, or the quota's own.
std::string_view lookupErrorTitleKey(LookupErrorCode code);
// The sentence under it, one per code.
std::string_view lookupErrorMessageKey(LookupErrorCode code);

}  // namespace trelvis
