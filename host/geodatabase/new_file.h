// A file that gets its name when it is finished.
#pragma once

#include <array>
#include <atomic>
#include <string>
#include <vector>

namespace embedded_host {

/// A place for a file that is being made: a folder of its own beside the name that it will have, so that nobody else's
/// work goes on there, and a half-made file is never taken for a whole one. What is in the folder goes with the object.
class NewFile {
public:
    enum class WhenThere : unsigned char { Refuse, Replace };

    /// \throws HostError, naming the file, when it exists and is not to be replaced, or is none that can be, or no
    ///         folder can be made beside it.
    explicit NewFile(std::string name, WhenThere whenThere = WhenThere::Refuse);
    ~NewFile();
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    /// Where to make the file.
    const std::string& path() const noexcept { return path_; }
    /// Gives the file its name. \throws HostError when there is a file of that name by now that is not to be replaced;
    /// it stays as it is.
    void finish();

    /// For the end of a process that destroys nothing, on whatever thread that is: removes what the files that are
    /// being made left, of the first few. Allocates nothing.
    static void removeUnfinished() noexcept;

private:
    // False when there was more in the folder, or it is gone already.
    bool removeKnown() const noexcept;

    static inline std::array<std::atomic<const NewFile*>, 4> unfinished{};

    void expectFree() const;

    std::string name_;
    WhenThere whenThere_;
    std::string folder_;
    std::string path_;
    std::vector<std::string> files_;  // that may be in the folder
};

}  // namespace embedded_host
