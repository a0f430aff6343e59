#pragma once

namespace Common {

/// Bits that describe how an option is registered. They may be combined, except Flag with ConfigFile.
struct OptionFlags {
    static constexpr unsigned CommandLine = 1;  ///< Accepted on the command line.
    static constexpr unsigned ConfigFile = 2;   ///< Accepted in the configuration file.
    static constexpr unsigned Flag = 4;         ///< A switch without a value, on the command line only; bool storage.
    static constexpr unsigned Required = 8;     ///< Must appear in at least one source.
};

/// Bits that describe the result of parsing. Several may be set.
struct ParseStatus {
    static constexpr unsigned MissingOption = 1;      ///< A required option or the configuration file is missing.
    static constexpr unsigned UnexpectedOption = 2;   ///< An unregistered option or argument. This is only a warning.
    static constexpr unsigned ConfigReadError = 4;    ///< The configuration file could not be read.
    static constexpr unsigned ParseError = 8;         ///< A source is malformed.
    static constexpr unsigned ProcessingError = 16;   ///< Any other failure while reading a source.
    static constexpr unsigned HelpRequested = 32;     ///< "--help" was given, or the command line is empty.
    static constexpr unsigned VersionRequested = 64;  ///< "--version" was given.
    static constexpr unsigned NotParsed = 128;        ///< Parse has not been called.
};

}  // namespace Common
