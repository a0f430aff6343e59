#include "common/logging/accepted_severities.h"

#include <map>
#include <mutex>

#include <boost/log/core.hpp>

namespace Common::logging {

namespace {

struct Requests {
    std::mutex mutex;       // Guards the other members.
    bool in_force = false;  // Set by the first SwitchCore; until then every severity is accepted.
    SeverityBits foreign = 0;
    std::map<const void*, SeverityBits> groups;
};

Requests& AllRequests() {
    // Never destroyed, because a static LoggerGroup may outlive any other static object.
    static auto* const requests = new Requests;
    return *requests;
}

// Call with the mutex held.
void Update(const Requests& requests) {
    if (!requests.in_force) {
        return;
    }
    SeverityBits accepted = 0;
    if (boost::log::core::get()->get_logging_enabled()) {
        accepted = requests.foreign;
        for (const auto& [group, severities] : requests.groups) {
            accepted |= severities;
        }
    }
    accepted_severities = accepted;
}

}  // namespace

void SetForeignSeverities(const std::set<Severity>& severities) {
    auto& requests = AllRequests();
    const std::lock_guard lock(requests.mutex);
    requests.foreign = 0;
    for (const auto severity : severities) {
        requests.foreign |= SeverityBits{1} << static_cast<unsigned>(severity);
    }
    Update(requests);
}

void SwitchCore(bool on) {
    auto& requests = AllRequests();
    const std::lock_guard lock(requests.mutex);
    boost::log::core::get()->set_logging_enabled(on);
    requests.in_force = true;
    Update(requests);
}

void SetGroupSeverities(const void* group, SeverityBits severities) {
    auto& requests = AllRequests();
    const std::lock_guard lock(requests.mutex);
    requests.groups[group] = severities;
    Update(requests);
}

void ForgetGroup(const void* group) {
    auto& requests = AllRequests();
    const std::lock_guard lock(requests.mutex);
    requests.groups.erase(group);
    Update(requests);
}

}  // namespace Common::logging
