// The user's wish to end a loop.
#pragma once

namespace brairu::tool {

// From now on SIGINT and SIGTERM do not end this process, but are what isStopped tells.
void stopOnSignals();

bool isStopped();

}  // namespace brairu::tool
