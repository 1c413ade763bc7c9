#pragma once

namespace brairu::test {

// How often a start-up pass said that cache and table agree, since the last call.
int takeCompleteStarts();

}  // namespace brairu::test
