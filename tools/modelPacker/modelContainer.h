// Makes encrypted containers of model files, and opens them again.
#pragma once

#include <optional>
#include <string>

namespace brairu {

// What went wrong, such as "cannot read PATH"; nothing when all went well. The library of the cipher
// must be initialised.
using ContainerFault = std::optional<std::string>;

// Takes a fresh nonce every time.
ContainerFault packModel(const std::string& modelPath, const std::string& containerPath);
ContainerFault unpackModel(const std::string& containerPath, const std::string& modelPath);

}  // namespace brairu
