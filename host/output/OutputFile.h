#pragma once

/// A file that is the old one or the whole new one, whatever happens in between.
///
/// Text goes into a new file in the directory of the final name, one that has no name. commit() brings it to the disk and
/// gives it a name beside the final one, "DIRECTORY/.NAME.PID-N.new", and then the final name in one step. A file that is
/// never committed leaves nothing; nor does a process that is killed, except between those two names. That leftover is
/// removed by the next writer of the same file, who knows it by its name and by nobody's lock on it. On file systems where
/// a file must have a name, it has that one from the start.
///
/// The new file keeps the rights of the one that it replaces, and a link is followed.
///
/// "-" is standard output. What exists and is no regular file (a pipe, a terminal, /dev/null) is written as it is: there is
/// no old content to keep.

#include <stdexcept>
#include <string>
#include <string_view>

namespace Orvex::Host {

/// "cannot write out.json: No space left on device"
class OutputError : public std::runtime_error {
 public:
  OutputError( std::string const& path, int errorNumber );
};

class OutputFile {
 public:
  static constexpr std::string_view kStandardOutput = "-";

  /// Fails with: OutputError.
  explicit OutputFile( std::string path );
  ~OutputFile();
  OutputFile( OutputFile const& ) = delete;
  OutputFile& operator=( OutputFile const& ) = delete;

  /// Fails with: OutputError.
  void write( std::string_view text );
  /// Requires: not committed yet.
  /// Fails with: OutputError; the old file is then still there.
  void commit();

 private:
  [[noreturn]] void fail() const;
  void discard() const;
  void openBeside();
  void openNamed();
  std::string makeNewPath() const;
  void removeLeftovers() const;
  void giveName();
  void flush();
  void syncDirectory() const;

  std::string path_;       // as messages name it
  std::string finalPath_;  // links followed
  std::string newPath_;    // while it has that name
  std::string buffer_;
  int descriptor_ = -1;
  bool closes_ = true;
  bool isInPlace_ = false;
};

}  // namespace Orvex::Host
