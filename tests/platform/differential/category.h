// The differential program's frame: a category is a stream of cases whose answers the portable platform and the real
// one must give alike. The same sources are built for both; each prints its answers and the lines are compared.
//
// To add a category: write a file with a run function and a `const Registration`, and name both in CMakeLists.txt here.
//
//     void runThings(Report& report, Random& random, long randomCases) {
//         report.add("edge: empty text", hex(doThing(OLESTR(""))));
//         for (long i = 0; i < randomCases; ++i) ...
//     }
//     const Registration things("things", 10000, runThings);
#pragma once

#include "platform/platform.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

namespace differential {

/// Pseudo-random numbers that are the same with every compiler and library (splitmix64).
class Random {
public:
    explicit Random(std::uint64_t seed) : state_(seed) {}

    std::uint64_t next();
    /// Evenly from 0 to limit - 1; `limit` is not 0.
    std::uint32_t below(std::uint32_t limit) { return static_cast<std::uint32_t>((next() >> 32) % limit); }
    bool oneIn(std::uint32_t chances) { return below(chances) == 0; }
    template <class T, std::size_t N>
    const T& pick(const T (&choices)[N]) {
        return choices[below(static_cast<std::uint32_t>(N))];
    }

private:
    std::uint64_t state_;
};

/// Takes the answers, one line per case: "what was asked<TAB>what came back". Both texts must be printable ASCII:
/// see the helpers below. What was asked must name the case completely, so that a differing line can be understood
/// and matched by an entry of known_differences.txt.
class Report {
public:
    explicit Report(std::FILE* file) : file_(file) {}
    void add(std::string_view asked, std::string_view answered);
    long cases() const { return cases_; }

private:
    std::FILE* file_;
    long cases_ = 0;
};

/// Adds the named edges first, then `randomCases` cases drawn from `random`.
using Run = void (*)(Report& report, Random& random, long randomCases);

/// A category that the program can run by name; define one per category, at namespace scope.
class Registration {
public:
    Registration(const char* name, long randomCases, Run run);

    const char* const name;
    const long randomCases;
    const Run run;
    const Registration* const next;
};

/// The categories, linked by `next`.
const Registration* firstCategory();

// How values are printed.

/// "0x80020005"
std::string hex(HRESULT status);
/// The bit pattern, so that -0.0, NaNs and the last digit count.
std::string bits(double value);
std::string bits(float value);
/// Quoted; anything but printable ASCII, quotes, backslashes as \uXXXX. Embedded zeros are kept.
std::string quoted(WideView text);
/// "null" for a null BSTR, else quoted.
std::string quotedBstr(BSTR text);
/// The type and the exact value: "I4 5", "R8 0x3FF0000000000000", "BSTR \"x\"", "NULL".
std::string describe(const VARIANT& value);
std::string typeName(VARTYPE type);

}  // namespace differential
