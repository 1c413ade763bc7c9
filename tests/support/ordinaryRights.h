#pragma once

#include <grp.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <vector>

namespace brairu::test {

inline constexpr unsigned kNobody = 65534;

// The rights of an ordinary user, as long as the object lives: root writes everywhere. They are
// given back so that a leak checker may look into the process when it exits.
class OrdinaryRights {
public:
    OrdinaryRights() {
        if (wasRoot_) {
            groups_.resize(static_cast<std::size_t>(::getgroups(0, nullptr)));
            EXPECT_GE(::getgroups(static_cast<int>(groups_.size()), groups_.data()), 0);
            EXPECT_EQ(::setgroups(0, nullptr), 0);
            EXPECT_EQ(::setegid(kNobody), 0);
            EXPECT_EQ(::seteuid(kNobody), 0);
        }
    }
    ~OrdinaryRights() {
        if (wasRoot_) {
            EXPECT_EQ(::seteuid(0), 0);
            EXPECT_EQ(::setegid(0), 0);
            EXPECT_EQ(::setgroups(groups_.size(), groups_.data()), 0);
        }
    }
    OrdinaryRights(const OrdinaryRights&) = delete;
    OrdinaryRights& operator=(const OrdinaryRights&) = delete;

private:
    const bool wasRoot_ = ::geteuid() == 0;
    std::vector<gid_t> groups_;
};

}  // namespace brairu::test
