// The product's catalogue: every category the engine creates, as rows in
// creation order (see model/VTSections.h for the row forms).
#pragma once

#include "model/VTSections.h"

namespace vt {

// The catalogue in creation order: the Windows and Explorer categories, then
// the browsers, then one category per application definition.
const TCategoryCatalogue& DefaultCatalogue();

}  // namespace vt
