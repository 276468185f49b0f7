#pragma once

/// Decides questions about boxes of packets by taking boxes away from boxes.
///
///     box        a box minus a box is at most one box for each dimension:
///     +-----+    +--+--+
///     |  +--|    |  |  |     the sources that the second does not have, with everything of the first;
///     |  |  |    |  +--+     the sources that both have, with the destinations that the second does not have; ...
///     +--+--+    +--+
///
/// Whether many boxes together cover a box is asked by taking away one after the other. What is left can grow with
/// every step; so the work is counted in boxes and in time, and beyond a budget there is no answer. A box that one of
/// those to come covers alone is dropped at once, which in tables made from rules is nearly always the case.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "verify/PacketSpace.h"

namespace Orvex::Verify {

struct Budget {
  std::uint64_t boxes = 10'000'000;
  std::chrono::milliseconds time{ 10'000 };
  /// For the sets that the boxes are made of.
  std::size_t bytes = 512'000'000;
};

/// There is no answer, and why.
class Undecided : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// What is spent of a budget.
class Spending {
 public:
  explicit Spending( Budget const& budget ) : budget_( budget ) {}

  /// One box more, made of such sets. Fails with: Undecided.
  void spend( AtomSets const& sets );
  /// A step that makes no box, of which a table can demand many. Fails with: Undecided.
  void step( AtomSets const& sets );
  std::uint64_t boxes() const { return boxes_; }

 private:
  Budget budget_;
  std::uint64_t boxes_ = 0;
  std::uint64_t steps_ = 0;
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

class BoxEngine {
 public:
  BoxEngine( AtomSets& sets, Spending& spending ) : sets_( sets ), spending_( spending ) {}

  /// A part of the box that lies in none of the others; none when they cover it.
  /// Fails with: Undecided.
  std::optional<Box> uncovered( Box const& box, std::span<Box const> covers, std::span<Box const> moreCovers = {} );

  Box intersection( Box const& a, Box const& b );
  bool overlap( Box const& a, Box const& b );
  bool contains( Box const& outer, Box const& inner );

 private:
  struct Left {
    Box box;
    std::size_t next;  // the first cover that has not been taken away
  };

  void subtract( Left const& left, Box const& cover, std::vector<Left>& rest );

  AtomSets& sets_;
  Spending& spending_;
};

// Policy against policy

/// Two rules that decide about the same packets differently.
struct Disagreement {
  Vell::AddressFamily family = Vell::AddressFamily::ipv4;
  std::string acl;
  Packet packet;
  Verdict a;
  Verdict b;
  /// Packets that both decide so, `packet` among them; not always all.
  Region region;
};

enum class Outcome : std::uint32_t { equal, different, undecided };

inline constexpr std::array<std::string_view, 3> kOutcomeNames = { "equal", "different", "undecided" };
static_assert( kOutcomeNames.size() == Kiv::enumValue( Outcome::undecided ) + 1 );
constexpr std::span<std::string_view const> enumNames( Outcome ) { return kOutcomeNames; }

struct PolicyComparison {
  Outcome outcome = Outcome::undecided;
  /// One for each pair of rules that disagree, the first kDisagreements of them.
  std::vector<Disagreement> disagreements;
  /// Why undecided; or the ACL that only one of them has.
  std::string reason;
  std::uint64_t boxes = 0;
};

inline constexpr std::size_t kDisagreements = 20;

/// Whether both do the same to every packet. Which rule does it does not matter, nor what rules are called.
/// Requires: both are normalised.
PolicyComparison equal( Host::Policy const& a, Host::Policy const& b, Budget const& budget = {} );

}  // namespace Orvex::Verify
