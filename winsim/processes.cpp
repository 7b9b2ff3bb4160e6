#include "winsim/processes.h"

#include <algorithm>
#include <stdexcept>

#include "winsim/processes_impl.h"

namespace winsim {
namespace {

constexpr std::uint32_t kFirstId = 1000;
constexpr std::uint32_t kIdStep = 8;  // the thread's id lies between

}  // namespace

std::uint32_t Processes::Impl::begin_program(std::uint32_t id, const std::wstring& image,
                                             const std::wstring& command_line) {
    if (id == 0) return add(image, command_line);
    Process* process = find(id);
    if (process == nullptr || !process->running) throw std::out_of_range("no such process is waiting to be run");
    process->image = image;
    process->command_line = command_line;
    return id;
}

std::uint32_t Processes::Impl::add(const std::wstring& image, const std::wstring& command_line) {
    Process process;
    process.id = kFirstId + kIdStep * static_cast<std::uint32_t>(processes.size());
    process.image = image;
    process.command_line = command_line;
    processes.push_back(std::move(process));
    return processes.back().id;
}

Process* Processes::Impl::find(std::uint32_t id) {
    if (id < kFirstId || (id - kFirstId) % kIdStep != 0) return nullptr;
    const std::size_t index = (id - kFirstId) / kIdStep;
    return index < processes.size() ? &processes[index] : nullptr;
}

bool Processes::Impl::ended(std::uint32_t id) {
    const Process* process = find(id);
    return process != nullptr && !process->running;
}

void Processes::Impl::end(std::uint32_t id) {
    Process* process = find(id);
    if (process == nullptr) throw std::out_of_range("no such process");
    process->running = false;
    for (auto& [name, mutex] : mutexes) {
        if (mutex.owner != id) continue;
        mutex.owner = 0;
        mutex.depth = 0;
        mutex.abandoned = true;
    }
}

std::wstring_view Processes::Impl::mutex_key(std::wstring_view name) {
    constexpr std::wstring_view kLocal = L"Local\\";
    if (name.substr(0, kLocal.size()) == kLocal) name.remove_prefix(kLocal.size());
    return name;
}

bool Processes::Impl::take(Mutex& mutex, std::uint32_t process, bool& was_abandoned) {
    if (mutex.owner != 0 && mutex.owner != process) return false;
    was_abandoned = mutex.abandoned;
    mutex.abandoned = false;
    mutex.owner = process;
    ++mutex.depth;
    return true;
}

void Processes::Impl::release(Mutex& mutex) {
    if (--mutex.depth == 0) mutex.owner = 0;
}

std::size_t Processes::Impl::owned_by(std::uint32_t process) const {
    return static_cast<std::size_t>(
        std::ranges::count_if(mutexes, [process](const auto& entry) { return entry.second.owner == process; }));
}

void Processes::Impl::drop_unused_mutexes() {
    std::erase_if(mutexes, [](const auto& entry) {
        return entry.second.handles == 0 && entry.second.owner == 0 && !entry.second.abandoned;
    });
}

void* Processes::Impl::open_process(std::uint32_t id) {
    return handles.add({KernelObject::Kind::process, id, nullptr, nullptr});
}

void Processes::Impl::close(const void* handle) {
    const KernelObject* object = handles.find(handle);
    const bool is_mutex = object->kind == KernelObject::Kind::mutex;
    if (is_mutex) --mutexes.find(*object->mutex)->second.handles;
    handles.remove(handle);
    if (is_mutex) drop_unused_mutexes();
}

void Processes::Impl::close_all() {
    handles.clear();
    for (auto& [name, mutex] : mutexes) mutex.handles = 0;
    drop_unused_mutexes();
}

void Processes::Impl::end_all() {
    for (Process& process : processes) process.running = false;
    handles.clear();
    mutexes.clear();
}

Processes::Processes() : impl_(std::make_unique<Impl>()) {}
Processes::~Processes() = default;

std::uint32_t Processes::start(const std::wstring& image, const std::wstring& command_line) {
    return impl_->add(image, command_line);
}

void Processes::end(std::uint32_t id) {
    impl_->end(id);
}

Process& Processes::get(std::uint32_t id) {
    Process* process = impl_->find(id);
    if (process == nullptr) throw std::out_of_range("no such process");
    return *process;
}

const std::vector<Process>& Processes::all() const {
    return impl_->processes;
}
const std::vector<Start>& Processes::starts() const {
    return impl_->starts;
}
void Processes::forget_starts() {
    impl_->starts.clear();
}

void Processes::take_mutex(const std::wstring& name, std::uint32_t owner) {
    Mutex& mutex = impl_->mutexes[std::wstring(Impl::mutex_key(name))];
    bool was_abandoned = false;
    if (mutex.owner != 0 || !impl_->take(mutex, owner, was_abandoned)) throw std::logic_error("the mutex is held");
}

void Processes::release_mutex(const std::wstring& name) {
    const auto found = impl_->mutexes.find(Impl::mutex_key(name));
    if (found == impl_->mutexes.end() || found->second.owner == 0) throw std::logic_error("the mutex isn't held");
    impl_->release(found->second);
    impl_->drop_unused_mutexes();
}

bool Processes::mutex_held(const std::wstring& name) const {
    const auto found = impl_->mutexes.find(Impl::mutex_key(name));
    return found != impl_->mutexes.end() && found->second.owner != 0;
}

std::size_t Processes::open_handles() const {
    return impl_->handles.size();
}

}  // namespace winsim
