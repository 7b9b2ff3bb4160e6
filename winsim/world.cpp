#include "winsim/world.h"

#include <exception>
#include <stdexcept>

#include "winsim/cng.h"
#include "winsim/disk_impl.h"
#include "winsim/network_impl.h"
#include "winsim/processes_impl.h"
#include "winsim/world_impl.h"

namespace winsim {
namespace {

thread_local World* current_world = nullptr;

void call_entry(int (*entry)(), RunResult& result) {
    try {
        result.exit_code = entry();
    } catch (const PowerCut&) {
        result.end = RunResult::End::power_cut;
    } catch (const ForbiddenCall&) {
        result.end = RunResult::End::forbidden_call;
    } catch (const std::exception& error) {
        result.end = RunResult::End::escaped;
        result.reason = error.what();
    } catch (...) {
        result.end = RunResult::End::escaped;
        result.reason = "not a std::exception";
    }
}

}  // namespace

World::Impl::Impl() : cng(std::make_unique<Cng>()) {}
World::Impl::~Impl() = default;

void* World::Impl::allocate_block(std::size_t size) {
    blocks_.push_back(std::make_unique<std::byte[]>(size));
    return blocks_.back().get();
}

bool World::Impl::free_block(const void* block) {
    for (auto it = blocks_.begin(); it != blocks_.end(); ++it) {
        if (it->get() != block) continue;
        blocks_.erase(it);
        return true;
    }
    return false;
}

World::World() : impl_(std::make_unique<Impl>()) {
    disk.use_clock(clock);
}
World::~World() = default;

World& World::current() {
    if (current_world == nullptr) throw std::logic_error("a platform call outside of any simulated world");
    return *current_world;
}

World::Guard::Guard(World& world) : previous_(current_world) {
    current_world = &world;
}
World::Guard::~Guard() {
    current_world = previous_;
}

RunResult World::run(const std::wstring& image, const std::wstring& command_line, int (*entry)(),
                     std::uint32_t process_id) {
    if (impl_->running) throw std::logic_error("a run within a run of the same world");
    const Guard guard(*this);
    gate.reset();
    gate.last_error = 0;
    set_program(image, command_line);
    impl_->process_id = processes.impl().begin_program(process_id, image, command_line);
    impl_->running = true;

    RunResult result;
    call_entry(entry, result);
    end_program(result);
    return result;
}

void World::end_program(RunResult& result) {
    if (gate.dead()) {
        result.end = RunResult::End::power_cut;
    } else if (!gate.forbidden().empty()) {
        result.end = RunResult::End::forbidden_call;
        result.reason = gate.forbidden();
    }
    if (result.end != RunResult::End::exited) result.exit_code = -1;
    result.calls = gate.calls();
    if (result.end == RunResult::End::exited || result.end == RunResult::End::escaped) {
        result.leaked_handles =
            disk.open_handles() + processes.open_handles() + network.open_handles() + impl_->cng->open_handles();
        result.leaked_blocks = impl_->blocks();
        result.kept_mutexes = processes.impl().owned_by(impl_->process_id);
    }
    impl_->free_blocks();
    impl_->cng->close_all();
    network.impl().close_all();
    disk_close_all(disk);
    processes.impl().close_all();
    processes.end(impl_->process_id);
    impl_->process_id = kTestProcessId;
    impl_->running = false;
}

void World::lose_power(const Loss& loss) {
    disk.lose_power(loss);
    processes.impl().end_all();
    clock.clear();
}

const std::wstring& World::image() const {
    return impl_->image;
}

void World::set_program(const std::wstring& image, const std::wstring& command_line) {
    impl_->image = image;
    impl_->command_line = command_line;
}

}  // namespace winsim
