#pragma once

#include <string>
#include <string_view>

namespace Checks {

/// An eight-byte digest of a sequence; U counts as T, since the aligner writes T.
std::string DigestOf(std::string_view sequence);

/// Replaces the sequence by its reverse complement. Letters other than A, C, G and T become arbitrary ones, but
/// different texts always give different results.
void ReverseComplement(std::string& sequence);

}  // namespace Checks
