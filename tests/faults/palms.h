// The palms of users, and calls that are made with them.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "brairu.h"
#include "match/registration.h"
#include "store/palmTemplate.h"

namespace brairu::test {

// Captures of the palm of a user. Those of different users are unrelated.
std::array<std::uint8_t, kFeatureBytes> captureOfUser(std::int64_t userid);
// One that is recognised, but so little alike that the template learns from it.
std::array<std::uint8_t, kFeatureBytes> weakCaptureOfUser(std::int64_t userid);
// A template: that of the enrolment, and another one that is recognised as well.
std::vector<std::uint8_t> templateOfUser(std::int64_t userid);
std::vector<std::uint8_t> newTemplateOfUser(std::int64_t userid);

PvaUserKey keyOfUser(std::int64_t userid);
int rowsOfUser(std::int64_t userid);
// The user that the engine recognises in a capture; 0 for none.
std::int64_t recognised(const std::array<std::uint8_t, kFeatureBytes>& capture);

int addUser(std::int64_t userid);
// By two captures, as configured; the status.
int enrolUser(std::int64_t userid);

}  // namespace brairu::test
