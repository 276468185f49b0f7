#pragma once

/// The right word nearest to a misspelt one, for "did you mean".
///
/// Nearness counts letters inserted, left out, replaced, and neighbours swapped (the optimal string alignment distance);
/// upper and lower case are alike. About a third of the letters may be wrong: farther words are no help.
///
///     "tpc" -> tcp      "htps" -> https      "Permit" -> permit      "x" -> nothing
///
///     NearestWord nearest( "tpc" );
///     for ( auto const& each : kProtocols ) nearest.consider( each.name );
///     message += nearest.question();

#include <cstddef>
#include <string>
#include <string_view>

namespace Orvex::Host {

class NearestWord {
 public:
  explicit NearestWord( std::string_view misspelt );

  /// Of words equally near, one with the same first letter is preferred, then the first considered. Cost: O(length of both), and nothing for lengths too different.
  void consider( std::string_view right );

  /// Empty when no word is near enough.
  std::string const& found() const noexcept { return found_; }
  /// `did you mean "tcp"?`, or empty.
  std::string question() const;

 private:
  std::string misspelt_;
  std::size_t nearestYet_;  // before a word is found: one more than is allowed
  bool foundSameStart_ = false;
  std::string found_;
};

}  // namespace Orvex::Host
