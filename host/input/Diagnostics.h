#pragma once

/// What is wrong with a user's input, collected so that one run shows all of it:
///
///     edge.acl:3:13: error: there is no protocol "tpc"; did you mean "tcp"?
///       10 permit tpc any any
///                 ^~~
///     edge.acl:9:3: error: rule 10 stands twice in this ACL; give each rule a number of its own
///       10 deny ip any any
///       ^~
///     edge.acl:3:3: note: the first one
///       10 permit tpc any any
///       ^~
///
/// Messages come out by file in the order in which files first gave cause, then by line and column; notes stay behind
/// their message. Control characters and bytes that are not UTF-8 come out as U+FFFD, so that a file cannot write to the
/// terminal. Of a long line the part around the place is shown.
///
/// Beyond kMaxErrors errors, kMaxOthers warnings and as many notes, messages are counted and not kept.

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "input/SourceFile.h"

namespace Orvex::Host {

enum class Severity { error, warning, note };
enum class Colour { off, on };

/// A further place that a message speaks of.
struct RelatedPlace {
  Place place;
  std::string text;
};

struct Diagnostic {
  Severity severity = Severity::error;
  Place place;
  std::string problem;
  /// What was expected, or what would be right; may be empty.
  std::string remedy;
  std::vector<RelatedPlace> related;
};

class Diagnostics {
 public:
  static constexpr std::size_t kMaxErrors = 20;
  static constexpr std::size_t kMaxOthers = 100;

  void error( Place place, std::string problem, std::string remedy = "", std::vector<RelatedPlace> related = {} );
  void warning( Place place, std::string problem, std::string remedy = "", std::vector<RelatedPlace> related = {} );
  /// A message of its own, that neither warns nor fails.
  void note( Place place, std::string text );

  bool failed() const noexcept { return errors_ != 0; }
  /// Whether to look for more is pointless: they would not be shown.
  bool tooManyErrors() const noexcept { return errors_ > kMaxErrors; }
  bool tooManyWarnings() const noexcept { return warnings_ > kMaxOthers; }
  std::size_t errors() const noexcept { return errors_; }
  std::size_t warnings() const noexcept { return warnings_; }

  /// In the order in which they are shown.
  std::vector<Diagnostic> sorted() const;
  /// All messages, as they are shown to the user.
  std::string text( Colour colour = Colour::off ) const;

 private:
  void add( Diagnostic diagnostic, std::size_t& count, std::size_t limit );

  std::vector<Diagnostic> kept_;
  std::size_t errors_ = 0;
  std::size_t warnings_ = 0;
  std::size_t notes_ = 0;
};

/// A word of the input in double quotes, for messages; a long one is cut.
std::string inQuotes( std::string_view word );

}  // namespace Orvex::Host
