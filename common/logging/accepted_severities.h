#pragma once

#include <atomic>
#include <cstdint>
#include <set>

#include "common/logging/severity.h"

namespace Common::logging {

/// One bit per severity; the bit's number is the severity's value.
using SeverityBits = std::uint32_t;

inline constexpr SeverityBits kAllSeverities = 0x3F;

/// The severities of which records are made. Every log call reads it; the functions below write it.
inline std::atomic<SeverityBits> accepted_severities{kAllSeverities};

/// True when a record of this severity would be made. Any thread; one relaxed load and a test.
inline bool Accepts(Severity severity) noexcept {
    return (accepted_severities.load(std::memory_order_relaxed) >> static_cast<unsigned>(severity)) & 1U;
}

/// Names the severities that foreign sinks want: those that other parts of the program have added to Boost.Log's
/// core. It replaces what an earlier call named. Any thread, at any time.
///
/// Until Prepare or InitLogging is called, every record is made, and the core's own filters decide (without any
/// sink, Boost.Log prints the record). After that, a record is made only when its severity is named here or taken by
/// a sink of a LoggerGroup; foreign sinks see all records that are made.
void SetForeignSeverities(const std::set<Severity>& severities);

/// Switches Boost.Log's core on or off. While it is off, no record is made. From the first call on, records are
/// made only of the severities that a LoggerGroup or SetForeignSeverities has asked for.
void SwitchCore(bool on);

/// Notes which severities the sinks of one LoggerGroup take, in place of what was noted for it before. Groups
/// are told apart by their address.
void SetGroupSeverities(const void* group, SeverityBits severities);

/// Forgets a LoggerGroup that comes to its end.
void ForgetGroup(const void* group);

}  // namespace Common::logging
