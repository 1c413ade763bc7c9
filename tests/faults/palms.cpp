#include "palms.h"

#include "blocks.h"

namespace brairu::test {
namespace {

constexpr int kAxisLength = 100;
constexpr Eigen::Index kPlacesPerUser = 8;

Eigen::Index placeOf(std::int64_t userid) {
    return static_cast<Eigen::Index>(userid) * kPlacesPerUser;
}

}  // namespace

std::array<std::uint8_t, kFeatureBytes> captureOfUser(std::int64_t userid) {
    return bytesOfCapture(captureOf(axis(kAxisLength, placeOf(userid))));
}

std::array<std::uint8_t, kFeatureBytes> weakCaptureOfUser(std::int64_t userid) {
    return bytesOfCapture(captureOf(atCosine(88, 127, placeOf(userid))));
}

std::vector<std::uint8_t> templateOfUser(std::int64_t userid) {
    return templateWith(captureOf(axis(kAxisLength, placeOf(userid))));
}

std::vector<std::uint8_t> newTemplateOfUser(std::int64_t userid) {
    return templateWith(captureOf(atCosine(120, 127, placeOf(userid))));
}

PvaUserKey keyOfUser(std::int64_t userid) {
    return {userid, 1, {}};
}

int rowsOfUser(std::int64_t userid) {
    std::array<std::int64_t, 64> palms{};
    int count = 0;
    pvaDataBaseGetPalmNumFromUserId(static_cast<std::uint64_t>(userid), palms.data(), palms.size(),
                                    &count);
    return count;
}

std::int64_t recognised(const std::array<std::uint8_t, kFeatureBytes>& capture) {
    PvaAuthResult result{};
    return pvaGetAuthRes(capture.data(), &result) == 1 ? result.userid : 0;
}

int addUser(std::int64_t userid) {
    const PvaUserKey key = keyOfUser(userid);
    return pvaDataBaseAddUser(&key, templateOfUser(userid).data());
}

int enrolUser(std::int64_t userid) {
    const PvaUserKey key = keyOfUser(userid);
    PvaRegisterResult result{};
    for (int capture = 0; capture < 2; ++capture) {
        pvaRegister(&key, captureOfUser(userid).data(), 0, &result);
    }
    return result.status;
}

}  // namespace brairu::test
