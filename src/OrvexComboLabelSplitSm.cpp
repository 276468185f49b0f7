#include "Orvex/OrvexComboLabelSplitSm.h"

#include <algorithm>

#include "Kiv/Trace.h"

namespace Orvex {

namespace {

Kiv::TraceHandle traceHandle( "OrvexComboLabelSplitSm" );

Kiv::String traceName( Brae::ChipId chipId, ComboLabelSetType setType ) {
  Kiv::TextStream text;
  text << "ComboLabelSplitSm(" << chipId << ", " << setType << ")::";
  return text.str();
}

/// The destination labels that a set has beside one source label.
struct RowPart {
  PlainLabel src;
  std::uint32_t classId;
  Kiv::Ptr<PlainLabels const> dstLabels;
};

/// A set's part of every row that it lies in.
void addRowParts( ComboLabelSet const& set, std::uint32_t classId, std::vector<RowPart>& parts ) {
  if ( set.srcLabels() ) {
    if ( set.dstLabels()->empty() ) return;
    for ( PlainLabel const src : *set.srcLabels() ) parts.push_back( { src, classId, set.dstLabels() } );
    return;
  }
  auto const combos = set.comboLabel();
  for ( auto combo = combos.begin(); combo != combos.end(); ) {
    auto const labels = Kiv::make<PlainLabels>();
    PlainLabel const src = combo->srcLabel;
    for ( ; combo != combos.end() && combo->srcLabel == src; ++combo ) labels->insert( combo->dstLabel );
    parts.push_back( { src, classId, labels } );
  }
}

/// The classes that contain each pair of a row. The memory is used again for the next row.
class Row {
 public:
  struct Cell {
    std::vector<std::uint32_t> classIds;
    std::uint64_t hashSum = 0;
  };

  /// Classes come in ascending order.
  void add( PlainLabels const& dstLabels, std::uint32_t classId, std::uint64_t hashSum ) {
    std::size_t const size = dstLabels.intervals().back().last + std::size_t{ 1 };
    if ( cells_.size() < size ) cells_.resize( size );
    for ( PlainLabel const dst : dstLabels ) {
      Cell& cell = cells_[dst.value()];
      if ( cell.classIds.empty() ) used_.push_back( dst );
      cell.classIds.push_back( classId );
      cell.hashSum += hashSum;
    }
  }

  /// Calls `handle( dst, cell )` for each destination label, in ascending order, and empties the row.
  template <class Handle>
  void take( Handle const& handle ) {
    std::sort( used_.begin(), used_.end() );
    for ( PlainLabel const dst : used_ ) {
      Cell& cell = cells_[dst.value()];
      handle( dst, cell );
      cell.classIds.clear();
      cell.hashSum = 0;
    }
    used_.clear();
  }

 private:
  std::vector<Cell> cells_;  // by destination label
  std::vector<PlainLabel> used_;
};

}  // namespace

ComboLabelSplitSm::ComboLabelSplitSm( Brae::ChipId chipId, Kiv::Ptr<ComboLabelSplitConfig const> const& config,
                                      Kiv::Ptr<ComboLabelSplitStatus> const& status,
                                      Kiv::Ptr<ChipHwCapability const> const& hwCapability, ComboLabelSetType setType )
    : XformSmBase( chipId, config, status, hwCapability, traceName( chipId, setType ) ),
      setType_( setType ),
      comboLabelSplitStatus_( status ) {}

ComboLabelInfo const& ComboLabelSplitSm::comboLabelInfo() const {
  return *Kiv::ptrCast<ComboLabelSplitConfig const>( config() )->comboLabelInfo();
}

std::uint32_t ComboLabelSplitSm::xformWidth() const {
  auto const attr = hwCapability()->comboEncodingAttr().find( setType_ );
  return attr ? attr->width() : 0;
}

void ComboLabelSplitSm::doBuildWorkingSet() {
  traceHandle.trace( 8, traceStr(), "doBuildWorkingSet" );
  workingSetIs( keysOf( comboLabelInfo().comboLabelSetColl() ) );
}

/// Every key is a class: the resolver has given equal pairs one set.
void ComboLabelSplitSm::doBuildSetGroup() {
  traceHandle.trace( 8, traceStr(), "doBuildSetGroup" );
  comboLabelToGenSetGrpMap_.clear();
  auto const classes = singletonClassesOf( *workingSet() );
  std::vector<RowPart> parts;
  std::uint32_t classId = 0;
  for ( GenSetKey const key : workingSet()->keyGroup() )
    addRowParts( *comboLabelInfo().comboLabelSetColl().find( key ), classId++, parts );
  std::stable_sort( parts.begin(), parts.end(), []( RowPart const& a, RowPart const& b ) { return a.src < b.src; } );

  GenSetKeyGroupInterner interner( classes );
  Row row;
  for ( auto part = parts.begin(); part != parts.end(); ) {
    PlainLabel const src = part->src;
    for ( ; part != parts.end() && part->src == src; ++part )
      row.add( *part->dstLabels, part->classId, classes->hashSum( part->classId ) );
    row.take( [&]( PlainLabel dst, Row::Cell const& cell ) {
      comboLabelToGenSetGrpMap_.set( GenCombo( src, dst ), interner.group( cell.classIds, cell.hashSum ) );
    } );
  }
}

void ComboLabelSplitSm::doAllocLabels() {
  traceHandle.trace( 8, traceStr(), "doAllocLabels" );
  comboLabelSplitStatus_->comboToPlainLabelMapDelAll();
  labelPieces( comboLabelToGenSetGrpMap_, [this]( GenCombo const& combo, PlainLabel label ) {
    comboLabelSplitStatus_->comboToPlainLabelMapIs( combo, label );
  } );
}

}  // namespace Orvex
