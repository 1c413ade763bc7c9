#pragma once

#include "renderer/palmIdentity.h"
#include "renderer/random.h"

namespace brairu {

// Fills the three skin layers of an identity whose shape is already set. `course` decides where the
// principal creases run.
void drawSkin(PalmIdentity& identity, Random& course, Random& random);

}  // namespace brairu
