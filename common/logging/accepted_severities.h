#pragma once

#include <atomic>
#include <cstdint>
#include <set>

#include "common/logging/severity.h"

namespace Common::logging {

/// One bit per severity; the bit's number is the severity's value.
using SeverityBits = std::uint32_t;

inline constexpr SeverityBits kAllSeverities = 0x3F;

/// The severities for which records are made.
inline std::atomic<SeverityBits> accepted_severities{kAllSeverities};

/// True if records of this severity are made. Any thread may call it; it costs one relaxed load and a test.
inline bool Accepts(Severity severity) noexcept {
    return (accepted_severities.load(std::memory_order_relaxed) >> static_cast<unsigned>(severity)) & 1U;
}

/// Sets the severities wanted by foreign sinks, that is, sinks that other parts of the program have added to
/// Boost.Log's core. Replaces the severities of an earlier call. Any thread may call it at any time.
///
/// Until the first call to SwitchCore, every record is made, and Boost.Log's filters decide which sinks receive it
/// (without any sink, Boost.Log prints the record). After that, a record is made only if its severity is set here or
/// accepted by a sink of a LoggerGroup. Foreign sinks receive every record that is made and that their own filters
/// accept.
void SetForeignSeverities(const std::set<Severity>& severities);

/// Switches Boost.Log's core on or off. While it is off, no record is made. The first call also ends the state in which
/// records of every severity are made (see SetForeignSeverities).
void SwitchCore(bool on);

/// Sets the severities that the sinks of one LoggerGroup accept. A group is identified by its address.
void SetGroupSeverities(const void* group, SeverityBits severities);

/// Forgets a LoggerGroup. The destructor of the group calls this.
void ForgetGroup(const void* group);

}  // namespace Common::logging
