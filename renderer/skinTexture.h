#pragma once

#include "renderer/palmIdentity.h"
#include "renderer/random.h"

namespace brairu {

// Fills the three skin layers of an identity whose shape is already set.
void drawSkin(PalmIdentity& identity, Random& random);

}  // namespace brairu
