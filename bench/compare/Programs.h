#pragma once

/// The programs that a comparison starts, where its files lie, and how long a child may take.

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "compare/ChildProcess.h"

namespace Orvex::Bench {

/// A directory for generated files, gone with its object.
class WorkDirectory {
 public:
  WorkDirectory();
  ~WorkDirectory();
  WorkDirectory( WorkDirectory const& ) = delete;
  WorkDirectory& operator=( WorkDirectory const& ) = delete;

  std::string file( std::string const& name ) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

class Programs {
 public:
  /// `orvex` empty: the one built beside this program. Writes the chip profiles that the command compiles for.
  explicit Programs( std::string orvex, std::chrono::duration<double> limit );

  /// The words that begin a command line.
  std::string const& orvex() const { return orvex_; }
  std::string child() const { return directory_ + "/compare_child"; }
  std::string rteAcl() const { return directory_ + "/compare_rte_acl"; }

  /// 16-bit labels for addresses and ports, room for everything; with combinations of both on or off.
  std::string profile( bool combinations ) const { return work_.file( combinations ? "combos.json" : "chip.json" ); }
  WorkDirectory const& work() const { return work_; }

  ChildResult run( std::vector<std::string> const& words ) const { return runChild( words, limit_ ); }
  /// Runs compare_child, which must succeed.
  /// Fails with: std::runtime_error with what it says.
  ChildResult runRole( std::vector<std::string> words ) const;
  std::chrono::duration<double> limit() const { return limit_; }

 private:
  std::string directory_;
  std::string orvex_;
  std::chrono::duration<double> limit_;
  WorkDirectory work_;
};

}  // namespace Orvex::Bench
