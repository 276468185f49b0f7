#pragma once

/// The sections of the page, in its order.

#include "report/Html.h"
#include "report/Report.h"

namespace Orvex::Host {

/// Title, verdict and the figures that matter most.
void writeMasthead( ReportSubject const& subject, HtmlWriter& html );
void writeCapacities( ReportSubject const& subject, HtmlWriter& html );
void writeRules( ReportSubject const& subject, HtmlWriter& html );
void writeFields( ReportSubject const& subject, HtmlWriter& html );
void writePrefixTrees( ReportSubject const& subject, HtmlWriter& html );
void writeWarnings( ReportSubject const& subject, HtmlWriter& html );

/// "edge.acl:40"; the file alone where no line is known, nothing where no file is.
std::string placeText( Place const& place );

}  // namespace Orvex::Host
