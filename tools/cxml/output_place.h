// Where a command writes what it has found beside its output: never over what it reads.
#pragma once

#include "tools/text/output_file.h"

#include <string>
#include <vector>

namespace cxml {

struct OutputPlace {
    std::vector<std::string> inputs;  // files that the command reads; what is no file's name does no harm
    bool overwrite = false;

    WhenThere whenThere() const noexcept { return overwrite ? WhenThere::Replace : WhenThere::Refuse; }
    /// One line that names the file when it cannot be written, or is what the command reads; empty else.
    std::string whyNot(const std::string& file) const;
    /// The same as an exception. \throws HostError
    void expectFree(const std::string& file) const;
    /// \return one line that names the file when it could not be written; empty else.
    std::string write(const std::string& file, std::string_view content) const;
};

}  // namespace cxml
