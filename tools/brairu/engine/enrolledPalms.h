#pragma once

#include <string>

namespace brairu::tool {

// Throws Fault, whose ending is "no", when the started engine has no palm to recognise.
// databasePath: of the user's store, for the message.
void requireEnrolledPalms(const std::string& databasePath);

// The folder of a store.
std::string folderOf(const std::string& databasePath);

// Throws EngineFault unless a store at this path can be written to.
void requireWritableStore(const std::string& databasePath);

}  // namespace brairu::tool
