#include "runs/available_memory.hpp"

#include <sys/resource.h>

#include <algorithm>
#include <fstream>
#include <optional>
#include <sstream>

#include "base/text.hpp"

namespace tiomipra {
namespace {

using Bytes = std::optional<std::uint64_t>;

// The first number of a file; nothing where there is none, as in "max".
Bytes readNumber(const std::string& path) {
    std::ifstream file(path);
    std::uint64_t number = 0;
    return (file >> number) ? Bytes(number) : std::nullopt;
}

// The number behind `name` at the start of a line, times `factor`; 0 where there is none.
std::uint64_t readEntry(const std::string& path, const std::string& name, std::uint64_t factor) {
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line);
        std::string word;
        std::uint64_t number = 0;
        if (words >> word >> number && word == name)
            return factor * number;
    }
    return 0;
}

std::uint64_t readKilobytes(const std::string& path, const std::string& name) {
    constexpr std::uint64_t kilobyte = 1024;
    return readEntry(path, name, kilobyte);
}

std::uint64_t difference(std::uint64_t limit, std::uint64_t used) {
    return limit - std::min(limit, used);
}

void tighten(MemoryLimit& limit, const MemoryLimit& other) {
    if (other.bytes < limit.bytes)
        limit = other;
}

void tightenByMachine(MemoryLimit& limit, const std::string& root) {
    const std::string file = root + "/proc/meminfo";
    // Without the first there is no such file, or an ancient kernel.
    if (const auto available = readKilobytes(file, "MemAvailable:"); available > 0)
        tighten(limit,
                {available + readKilobytes(file, "SwapFree:"), "the free memory of the machine"});
}

void tightenByResource(MemoryLimit& limit, decltype(RLIMIT_AS) resource, const std::string& used,
                       const std::string& source, std::uint64_t perThread) {
    rlimit bounds{};
    if (getrlimit(resource, &bounds) == 0 && bounds.rlim_cur != RLIM_INFINITY)
        tighten(limit, {difference(bounds.rlim_cur, readKilobytes("/proc/self/status", used)),
                        source, perThread});
}

// What files of a control group are called.
struct GroupFiles {
    const char* limit;
    const char* usage;
    const char* reclaimable;  // pages of files, in memory.stat
};
constexpr GroupFiles secondVersion{"/memory.max", "/memory.current", "inactive_file"};
constexpr GroupFiles firstVersion{"/memory.limit_in_bytes", "/memory.usage_in_bytes",
                                  "total_inactive_file"};

// The group and all that hold it. A container may show its own group as the outermost one.
void tightenByGroups(MemoryLimit& limit, const std::string& mount, std::string group,
                     const GroupFiles& files) {
    for (;; group.resize(group.rfind('/'))) {
        const std::string folder = mount + group;
        const Bytes most = readNumber(folder + files.limit);
        const Bytes usage = readNumber(folder + files.usage);
        if (most && usage) {
            const auto reclaimable = readEntry(folder + "/memory.stat", files.reclaimable, 1);
            tighten(limit, {difference(*most, difference(*usage, reclaimable)),
                            "the memory limit of the control group"});
        }
        if (group.find('/') == std::string::npos)
            return;
    }
}

// Lines NUMBER:CONTROLLERS:/GROUP, without controllers for version 2.
void tightenByControlGroups(MemoryLimit& limit, const std::string& root) {
    std::ifstream file(root + "/proc/self/cgroup");
    for (std::string line; std::getline(file, line);) {
        std::istringstream fields(line);
        std::string number, controllers, group;
        std::getline(fields, number, ':');
        std::getline(fields, controllers, ':');
        std::getline(fields, group);
        const std::string mount = root + "/sys/fs/cgroup";
        if (controllers.empty())
            tightenByGroups(limit, mount, group, secondVersion);
        else if (controllers == "memory")
            tightenByGroups(limit, mount + "/memory", group, firstVersion);
    }
}

}  // namespace

MemoryLimit availableMemory(const std::string& root) {
    MemoryLimit limit;
    tightenByMachine(limit, root);
    tightenByControlGroups(limit, root);
    // A thread reserves room for its stack and its part of the heap, used or not.
    constexpr std::uint64_t reserved = std::uint64_t{80} << 20U;
    tightenByResource(limit, RLIMIT_AS, "VmSize:", "the limit of the address space (ulimit -v)",
                      reserved);
    tightenByResource(limit, RLIMIT_DATA, "VmData:", "the limit of the data (ulimit -d)", 0);
    return limit;
}

std::size_t workersWithin(const MemoryLimit& limit, std::uint64_t need, std::size_t workers) {
    const std::uint64_t fitting = limit.bytes / std::max<std::uint64_t>(need + limit.perThread, 1);
    return static_cast<std::size_t>(std::clamp<std::uint64_t>(fitting, 1, workers));
}

std::size_t jobsWithin(const MemoryLimit& limit, std::uint64_t need, std::size_t wanted,
                       const Notify& notify) {
    const std::size_t jobs = workersWithin(limit, need, wanted);
    if (jobs < wanted)
        notify(fmt::format(
            "note: {} of {} jobs at the same time, as each takes about {} of memory, and {} are "
            "available, {}",
            jobs, wanted, describeBytes(need + limit.perThread), describeBytes(limit.bytes),
            limit.source));
    return jobs;
}

}  // namespace tiomipra
