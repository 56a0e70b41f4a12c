#pragma once

#include <string>
#include <string_view>

namespace tavik {

// A file of lines that only grows at its end and that only its owner may read (mode 0600). The
// folder and the file are created when missing, at the first use; wider rights of an older file are
// narrowed. Not synchronised: its owner uses it from one queue.
class AppendFile {
public:
    explicit AppendFile(std::string path);
    ~AppendFile();
    AppendFile(const AppendFile&) = delete;
    AppendFile& operator=(const AppendFile&) = delete;

    const std::string& path() const { return filePath; }

    // Writes `line`, which brings its own end, in one piece where the system can; it begins on a
    // line of its own even when the one before was torn by a crash or a full disk. Errors are
    // ignored: a record must never stop the work that it records.
    void append(std::string_view line);

    // Empties the file, which keeps its name and mode. Throws std::system_error when that failed or
    // the file could never be opened.
    void truncate();

private:
    bool open();
    bool endsInsideLine() const;
    bool write(std::string_view bytes);

    const std::string filePath;
    int descriptor = -1;
    bool triedToOpen = false;
    bool isTorn = false; // the last line lacks its end
};

} // namespace tavik
