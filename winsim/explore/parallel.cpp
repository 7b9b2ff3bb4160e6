#include "winsim/explore/parallel.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <limits>
#include <mutex>
#include <thread>
#include <vector>

namespace winsim::explore {
namespace {

struct Work {
    std::size_t count;
    const std::function<void(std::size_t)>& work;
    std::atomic<std::size_t> next = 0;  // indices are given out in order, so none below a failed one is left out
    std::atomic<std::size_t> failed_at = std::numeric_limits<std::size_t>::max();
    std::mutex mutex;
    std::exception_ptr failure;  // of failed_at

    void run() {
        for (std::size_t index = next++; index < count && index < failed_at; index = next++) {
            try {
                work(index);
            } catch (...) {
                const std::scoped_lock lock(mutex);
                if (index < failed_at) {
                    failed_at = index;
                    failure = std::current_exception();
                }
            }
        }
    }
};

}  // namespace

void for_each_index(std::size_t count, const std::function<void(std::size_t)>& work) {
    Work shared{count, work, 0, std::numeric_limits<std::size_t>::max(), {}, nullptr};
    {
        const std::size_t threads = std::min<std::size_t>(std::max(1U, std::thread::hardware_concurrency()), count);
        std::vector<std::jthread> others;
        for (std::size_t i = 1; i < threads; ++i) {
            others.emplace_back([&shared] { shared.run(); });
        }
        shared.run();
    }
    if (shared.failure) std::rethrow_exception(shared.failure);
}

}  // namespace winsim::explore
