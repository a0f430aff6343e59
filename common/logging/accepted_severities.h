#pragma once

#include <atomic>
#include <cstdint>
#include <set>

#include "common/logging/severity.h"

namespace Common::logging {

/// One bit per severity; the bit's number is the severity's value.
using SeverityBits = std::uint32_t;

inline constexpr SeverityBits kAllSeverities = 0x3F;

/// The severities of which records are made: those that some sink may take, as far as is known. Read by every
/// log call, written by the functions below.
inline std::atomic<SeverityBits> accepted_severities{kAllSeverities};

/// True when a record of this severity would be made. Any thread; one relaxed load and a test.
inline bool Accepts(Severity severity) noexcept {
    return (accepted_severities.load(std::memory_order_relaxed) >> static_cast<unsigned>(severity)) & 1U;
}

/// Says which severities the sinks want that other parts of the program have put on Boost.Log's core; what was
/// said before no longer counts. Records of further severities that no sink of a LoggerGroup takes are not made.
///
/// Before Prepare and InitLogging nothing needs to be said: every record is made, and the core's own filters
/// decide (without any sink, Boost.Log prints them). From then on other sinks get nothing unless this is
/// called, before or after. Any thread.
void SetForeignSeverities(const std::set<Severity>& severities);

/// Switches Boost.Log's core on or off. From the first call on only the severities are accepted that somebody
/// has asked for; none while the core is off.
void SwitchCore(bool on);

/// Notes which severities the sinks of one LoggerGroup take, in place of what was noted for it before. Groups
/// are told apart by their address.
void SetGroupSeverities(const void* group, SeverityBits severities);

/// Forgets a LoggerGroup that comes to its end.
void ForgetGroup(const void* group);

}  // namespace Common::logging
