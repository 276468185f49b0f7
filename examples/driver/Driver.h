#pragma once

/// The driver layer of a chip, as small as the contract with the compiler allows (see OrvexPDTypes.h). A real one programs
/// a chip where this one fills a ChipTables.
///
///     host:    auto driver = Kiv::make<Driver>( capability, config, status, kEntries );   // before the first root
///              while ( wheel->due() || driver->serve() ) while ( wheel->due() ) wheel->service();
///     driver:  acquire  ->  both tables fit side by side: "hitless"; the new one alone: "hitful"; neither: "failed"
///              load     ->  copies the snapshot, "loaded"
///              revert   ->  forgets what it has reserved, "reverted"
///
/// What comes from the compiler is queued by the notification and answered by serve(), never inside the notification:
/// the compiler is then in the middle of its own step.

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <vector>

#include "Kiv/StateMachine.h"
#include "Orvex/OrvexHwCapability.h"
#include "Orvex/OrvexPDTypes.h"

/// What a chip holds: a copy, since a snapshot's rules belong to the compiler. Entries of an ACL stand in the order in which
/// the chip tries them; a packet that none of them matches is denied.
struct ChipTables {
  struct Entry {
    Orvex::AceIndex rule;
    Orvex::PDAclFilter match;
    Orvex::OrvexActionValue action;
  };

  std::map<Orvex::PrefixXformKey, std::vector<Orvex::PDPrefixXformEntry>> prefixes;
  std::map<Orvex::RangeSetType, std::vector<Orvex::PDRangeXformEntry>> ranges;
  std::map<Orvex::ComboLabelSetType, std::vector<Orvex::PDComboEntry>> combos;
  std::map<Orvex::PDAclKey, std::vector<Entry>> acls;
};

class Driver : public Kiv::StateMachine {
 public:
  /// `capacity` is the number of ternary entries of the chip. Fills the status and listens to the config from now on.
  Driver( Kiv::Ptr<Orvex::ChipHwCapability const> const& capability, Kiv::Ptr<Orvex::PDConfig const> const& config,
          Kiv::Ptr<Orvex::PDStatus> const& status, std::uint64_t capacity );
  ~Driver() override;

  /// Answers what has waited longest. False when nothing waits, or the chip does not answer.
  bool serve();

  /// The host gives up: drops what waits, what is reserved, and the blanket policy.
  /// Requires: the compiler's root is gone.
  void requestsDelAll();

  void chipAnswersIs( bool answers ) { chipAnswers_ = answers; }

  ChipTables const& tables() const { return tables_; }
  /// Entries in force.
  std::uint64_t used() const { return used_; }

 private:
  class KivPDConfig;
  using Answer = Orvex::ResponseState;
  using SetStatus = std::function<void( Orvex::ResourceStatus const& )>;

  void listStatuses( Orvex::ChipHwCapability const& capability );
  void handleRequest();
  void handlePolicy();

  Answer answer( Orvex::RequestState request );
  Answer acquire( Orvex::PDData const& snapshot );
  Answer load( Orvex::PDData const& snapshot );
  Answer revert();

  Kiv::Ptr<Orvex::PDStatus> status_;
  std::vector<SetStatus> statuses_;  // in the order of answers
  std::deque<std::function<void()>> queue_;
  ChipTables tables_;
  std::uint64_t capacity_;
  std::uint64_t used_ = 0;
  std::uint64_t reserved_ = 0;
  bool chipAnswers_ = true;
  Kiv::Ptr<KivPDConfig> kivPDConfig_;
};
