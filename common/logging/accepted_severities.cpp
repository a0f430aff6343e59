#include "common/logging/accepted_severities.h"

#include <map>
#include <mutex>

#include <boost/log/core.hpp>

namespace Common::logging {

namespace {

struct Wishes {
    std::mutex mutex;       // Guards the other members.
    bool in_force = false;  // Set by the first SwitchCore; until then every severity is accepted.
    SeverityBits foreign = 0;
    std::map<const void*, SeverityBits> groups;
};

Wishes& AllWishes() {
    // Never destroyed, because a static LoggerGroup may outlive any other static object.
    static auto* const wishes = new Wishes;
    return *wishes;
}

// Call with the mutex held.
void Update(const Wishes& wishes) {
    if (!wishes.in_force) {
        return;
    }
    SeverityBits accepted = 0;
    if (boost::log::core::get()->get_logging_enabled()) {
        accepted = wishes.foreign;
        for (const auto& [group, severities] : wishes.groups) {
            accepted |= severities;
        }
    }
    accepted_severities = accepted;
}

}  // namespace

void SetForeignSeverities(const std::set<Severity>& severities) {
    auto& wishes = AllWishes();
    const std::lock_guard lock(wishes.mutex);
    wishes.foreign = 0;
    for (const auto severity : severities) {
        wishes.foreign |= SeverityBits{1} << static_cast<unsigned>(severity);
    }
    Update(wishes);
}

void SwitchCore(bool on) {
    auto& wishes = AllWishes();
    const std::lock_guard lock(wishes.mutex);
    boost::log::core::get()->set_logging_enabled(on);
    wishes.in_force = true;
    Update(wishes);
}

void SetGroupSeverities(const void* group, SeverityBits severities) {
    auto& wishes = AllWishes();
    const std::lock_guard lock(wishes.mutex);
    wishes.groups[group] = severities;
    Update(wishes);
}

void ForgetGroup(const void* group) {
    auto& wishes = AllWishes();
    const std::lock_guard lock(wishes.mutex);
    wishes.groups.erase(group);
    Update(wishes);
}

}  // namespace Common::logging
