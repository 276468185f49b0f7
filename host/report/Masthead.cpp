#include "output/NumberText.h"
#include "pipeline/PlacementComparison.h"
#include "report/Sections.h"

namespace Orvex::Host {

namespace {

struct Verdict {
  /// Of the style sheet.
  std::string_view kind;
  std::string headline;
  std::vector<std::string> reasons;
};

Verdict verdictOf( ReportSubject const& subject ) {
  CompileResult const& result = subject.result;
  std::string const chip = "chip " + subject.profile.name;
  if ( result.outcome == CompileOutcome::loaded )
    return { "good",
             "Loaded into " + chip,
             { subject.isProved ? "Proved equal to the policy, for all packets."
                                : "The table was not proved equal to the policy." } };
  if ( result.shortages.empty() )
    return {
        result.outcome == CompileOutcome::refused ? "open" : "bad", "Not loaded into " + chip, { result.message } };
  Verdict verdict{ "bad", "Does not fit " + chip, {} };
  for ( Shortage const& shortage : result.shortages ) verdict.reasons.push_back( textOf( shortage ) );
  return verdict;
}

void writeFigure( std::string const& value, std::string_view what, HtmlWriter& html ) {
  html.print( "<div><dt>{}</dt><dd>{}</dd></div>\n", what, value );
}

std::size_t ruleCount( Policy const& policy ) {
  std::size_t count = 0;
  for ( Acl const& acl : policy.acls ) count += acl.rules.size();
  return count;
}

void writeFigures( ReportSubject const& subject, HtmlWriter& html ) {
  Policy const& policy = subject.located.policy;
  std::uint64_t const plain = plainEntries( policy );
  html.print( "<dl class=\"figures\">\n" );
  writeFigure( grouped( ruleCount( policy ) ), "rules", html );
  writeFigure( grouped( policy.acls.size() ), policy.acls.size() == 1 ? "ACL" : "ACLs", html );
  writeFigure( subject.result.snapshot ? grouped( subject.result.use[Resource::ruleEntries] ) : "-", "entries", html );
  writeFigure( plain == ~std::uint64_t{ 0 } ? "beyond counting" : grouped( plain ), "without labels", html );
  std::size_t const warnings = subject.readerWarnings.warnings() + subject.lintWarnings.warnings();
  writeFigure( grouped( warnings ), warnings == 1 ? "warning" : "warnings", html );
  html.print( "</dl>\n" );
}

}  // namespace

void writeMasthead( ReportSubject const& subject, HtmlWriter& html ) {
  Verdict const verdict = verdictOf( subject );
  html.print( "<header>\n<p class=\"eyebrow\">Orvex compile report</p>\n<h1>{}</h1>\n",
              fmt::format( "{}", fmt::join( subject.files, ", " ) ) );
  html.print( "<div class=\"verdict {}\"><strong>{}</strong>", verdict.kind, verdict.headline );
  for ( std::string const& reason : verdict.reasons ) html.print( "<p>{}</p>", reason );
  html.print( "</div>\n" );
  if ( !subject.profile.description.empty() )
    html.print( "<p class=\"chip\">{}: {}. Labels are placed in {} order.</p>\n", subject.profile.name,
                subject.profile.description,
                subject.profile.labelPlacement == LabelPlacement::nested ? "nested" : "cost" );
  writeFigures( subject, html );
  html.print( R"(<nav aria-label="Sections"><a href="#capacity">Capacity</a><a href="#rules">Rules</a>)"
              R"(<a href="#fields">Fields</a><a href="#addresses">Addresses</a><a href="#warnings">Warnings</a></nav>
</header>
)" );
}

}  // namespace Orvex::Host
