#pragma once

/// A file that is the old one or the whole new one, whatever happens in between.
///
/// Text goes into a new file beside the final name, "DIRECTORY/.NAME.PID-N.new". commit() brings it to the disk and gives
/// it the final name in one step; a file that is never committed leaves nothing. The new file keeps the rights of the one
/// that it replaces, and a link is followed.
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
  void openBeside();
  void flush();
  void syncDirectory() const;

  std::string path_;       // as messages name it
  std::string finalPath_;  // links followed
  std::string newPath_;    // until it has its final name; empty when written in place
  std::string buffer_;
  int descriptor_ = -1;
  bool closes_ = true;
};

}  // namespace Orvex::Host
