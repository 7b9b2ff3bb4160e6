// Work on many things at once.
#pragma once

#include <cstddef>
#include <functional>

namespace winsim::explore {

// Calls `work` for each index from 0 to `count` - 1, in any order, on as many threads as the machine has processors; on
// this thread alone if there is little to do. Once a call has thrown, no further index below it is left out and none
// above it is begun: what comes out is the exception of the lowest index that throws, whatever the threads do.
void for_each_index(std::size_t count, const std::function<void(std::size_t)>& work);

}  // namespace winsim::explore
