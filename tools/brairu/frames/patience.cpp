#include "frames/patience.h"

#include <utility>

namespace brairu::tool {

Patience::Patience(double seconds)
    : length_(std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds))) {
    renew();
}

void Patience::renew() {
    end_ = Clock::now() + length_;
}

void Patience::look(std::size_t captures) {
    if (std::exchange(captures_, captures) != captures) {
        renew();
    }
}

bool Patience::isOver() const {
    return Clock::now() >= end_;
}

}  // namespace brairu::tool
