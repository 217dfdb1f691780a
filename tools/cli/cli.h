// Shared pieces of the quelvari-cli verbs.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "model/status.h"

namespace quelvari::cli {

// Exit statuses.
inline constexpr int kExitOk = 0;
inline constexpr int kExitFindings = 1;  // check: findings were counted
inline constexpr int kExitFile = 2;      // a file cannot be read or written
inline constexpr int kExitField = 3;     // add/edit: a field was refused
inline constexpr int kExitUsage = 64;    // bad arguments

struct Verb {
    const char* name;
    const char* summary;
    const char* usage;  // full help text, printed by "VERB --help"
    int (*run)(const std::vector<std::string>& args);
};

// Every verb file contributes its verbs through one of these functions,
// listed in main.cpp.
std::vector<Verb> modelVerbs();
std::vector<Verb> textVerbs();
std::vector<Verb> componentVerbs();
std::vector<Verb> checkVerbs();
std::vector<Verb> linkVerbs();
std::vector<Verb> printVerbs();
std::vector<Verb> exchangeVerbs();

// Prints protocol lines (Windows-1252) to a PDF file as the syntax-test
// dialog's Print button prints them, through the atomic writer. A failure
// carries message 92 and the system's reason; the old file is then untouched.
Status WriteProtocolPdf(const std::vector<std::string>& lines, const std::string& path);
std::vector<Verb> transferVerbs();

// Prints "quelvari-cli: <message>" to stderr and returns kExitUsage.
int usageError(const std::string& message);
// Prints a catalogue message (caption and text, in UTF-8) to stderr; a status
// adds its detail line (the file and the system's reason).
void printErrorMessage(int code);
void printErrorMessage(const Status& status);
// Takes "--lang N" out of `args`; without it the configured language is used.
// Returns false (after printing why) when N is not a number.
bool takeLanguageOption(std::vector<std::string>& args, std::uint32_t& lang);
// Takes "OPTION VALUE" out of `args` and leaves `value` alone when the option
// is absent. False when the option stands last, without its value.
bool takeValue(std::vector<std::string>& args, const std::string& option, std::string& value);
// Takes a flag such as "--json" out of `args`.
bool takeFlag(std::vector<std::string>& args, const std::string& flag);
// Parses a decimal or 0x-prefixed number.
std::optional<long> parseNumber(const std::string& text);

}  // namespace quelvari::cli
