#include "output/NumberText.h"
#include "report/PrefixTree.h"
#include "report/Sections.h"

namespace Orvex::Host {

namespace {

/// Of each tree.
constexpr std::size_t kChosenNodes = 400;
/// A tree of so few prefixes is open when the page opens.
constexpr std::size_t kOpenNodes = 60;

class TreeList {
 public:
  TreeList( PrefixTree const& tree, HtmlWriter& html )
      : tree_( tree ), html_( html ), isOpen_( tree.nodes.size() <= kOpenNodes ) {}

  void write() {
    html_.print( "<ul class=\"tree\">\n" );
    std::size_t depth = 0;
    for ( PrefixNode const& node : tree_.nodes ) {
      if ( !node.isChosen ) continue;
      for ( ; depth > node.depth; --depth ) close();
      write( node );
      if ( node.within != 0 ) {
        html_.print( "<ul>\n" );
        open_.push_back( &node );
        ++depth;
      }
    }
    for ( ; depth != 0; --depth ) close();
    std::size_t const shown = tree_.nodes.size() - tree_.leftOut;
    if ( tree_.leftOut != 0 )
      html_.print( "<li class=\"rest\">{} of {} are shown, those nearest to the root; {} are not.</li>\n",
                   grouped( shown ), counted( tree_.nodes.size(), "prefix" ), grouped( tree_.leftOut ) );
    html_.print( "</ul>\n" );
  }

 private:
  void write( PrefixNode const& node ) {
    html_.print( "<li>" );
    if ( node.within != 0 ) html_.print( "<details{}><summary>", Markup{ isOpen_ ? " open" : "" } );
    html_.print( "<code>{}</code> <b class=\"tag\">{}</b> <span>", textOf( node.prefix ),
                 node.label ? "label " + std::to_string( *node.label ) : "no label" );
    html_.print( "{}{}</span>", node.matched.empty() ? "in no list" : node.matched,
                 node.excepted.empty() ? "" : "; not " + node.excepted );
    if ( node.within != 0 )
      html_.print( " <small>{} within</small></summary>", grouped( node.within ) );
    else
      html_.print( "</li>\n" );
  }

  void close() {
    PrefixNode const& node = *open_.back();
    open_.pop_back();
    if ( node.leftOut != 0 )
      html_.print( "<li class=\"rest\">{} more within, not shown</li>\n", grouped( node.leftOut ) );
    html_.print( "</ul></details></li>\n" );
  }

  PrefixTree const& tree_;
  HtmlWriter& html_;
  bool isOpen_;
  std::vector<PrefixNode const*> open_;
};

}  // namespace

void writePrefixTrees( ReportSubject const& subject, HtmlWriter& html ) {
  html.print(
      "<section id=\"addresses\"><h2>Prefixes of addresses</h2>\n<p class=\"lead\">An address has the label of the "
      "innermost prefix that it is in. Beside each label stand the lists that such an address is in; after "
      "\"not\", those that have everything around it and except it.</p>\n<div class=\"trees\">\n" );
  bool isEmpty = true;
  for ( PrefixXformKey const space : kPrefixSpaces ) {
    PrefixTree const tree = prefixTreeOf( subject.located, space, subject.result.snapshot.get(), kChosenNodes );
    if ( tree.nodes.empty() ) continue;
    isEmpty = false;
    html.print( "<article class=\"space\"><h3>{} {} <small>{}; elsewhere label {}</small></h3>\n",
                space.af() == Vell::AddressFamily::ipv4 ? "IPv4" : "IPv6", space.src() ? "source" : "destination",
                counted( tree.nodes.size(), "prefix" ), subject.profile.prefix( space ).invalid );
    TreeList( tree, html ).write();
    html.print( "</article>\n" );
  }
  html.print( "</div>\n{}</section>\n", Markup{ isEmpty ? "<p>No rule names a prefix.</p>\n" : "" } );
}

}  // namespace Orvex::Host
