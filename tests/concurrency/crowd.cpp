#include "crowd.h"

#include <exception>
#include <latch>
#include <thread>

namespace brairu::test {

void runTogether(const std::vector<std::function<void()>>& actions) {
    std::latch start(static_cast<std::ptrdiff_t>(actions.size()));
    std::vector<std::exception_ptr> faults(actions.size());
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < actions.size(); ++i) {
        threads.emplace_back([&, i] {
            start.arrive_and_wait();
            try {
                actions[i]();
            } catch (...) {
                faults[i] = std::current_exception();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const std::exception_ptr& fault : faults) {
        if (fault) {
            std::rethrow_exception(fault);
        }
    }
}

}  // namespace brairu::test
