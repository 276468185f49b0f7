#!/usr/bin/env bash
# The page that "orvex compile --report" writes: what is in it, and, in a browser, that it works there.
#
# Usage: report-test.sh ORVEX EXAMPLES
# Exits with 77, and says so, when there is no chromium: the browser's part has then not run.
set -euo pipefail

orvex=$1
examples=$2
source "$(dirname "$(realpath "$0")")/checks.sh"

# Names that would be markup, in a file whose name would be too. Rule 20 never decides.
hostile='<b id="x">&.acl'
cat >"$hostile" <<'ACL'
ip prefix-list "<img src=x onerror=alert(1)>"
  10.0.0.0/8
  except 10.1.0.0/16
ip access-list "</title><script>console.error(1)</script>"
  10 permit tcp prefix-list "<img src=x onerror=alert(1)>" any eq 80 443
  20 deny tcp 10.2.0.0/16 any eq 80 name "--><b onclick='x'>"
  30 permit udp any any range 1000 2000
ACL

# What the page says, and that it is the same page each time.
run 0 compile "$examples/edge.acl" --report page.html
run 0 compile "$examples/edge.acl" --report again.html
cmp -s page.html again.html || fail "two equal compiles write different pages"
says page.html "Proved equal to the policy, for all packets."
says page.html "edge.acl:32</span> <code>10 deny ip prefix-list bogons any log</code>"
says page.html "None: no rule hides another"
run 0 compile "$hostile" --report hostile.html
says hostile.html "rule 20 never decides: rule 10 matches all of it"
says hostile.html "<mark>20</mark> deny tcp 10.2.0.0/16 any eq 80 name &quot;--&gt;&lt;b onclick"
for markup in '<img' '<b id' '<b onclick' '<script>console' '</title><script'; do
  if grep -qF -- "$markup" hostile.html; then fail "a name became markup: $markup"; fi
done

# A policy that does not fit, one whose labels run out, and one that is not to be proved.
"$orvex" chips small >small.json
sed 's/"ruleEntries": 512/"ruleEntries": 40/' small.json >few-entries.json
run 1 compile "$examples/datacentre.acl" --chip few-entries.json --report over.html -q
says over.html 'aria-label="ruleEntries: 50 used of 40, 10 too many"' && says over.html 'class="beyond"'
sed 's/"width": [1-9][0-9]*/"width": 1/' small.json >few-labels.json
run 1 compile "$examples/datacentre.acl" --chip few-labels.json --report labels.html -q
says labels.html "Not loaded into chip small" && says labels.html "class=\"is-over\"" && says labels.html 'id="addresses"'
run 0 compile "$examples/edge.acl" --no-verify --report open.html && says open.html "nothing is loaded without a proof"

# Questions that are wrong
run 2 compile "$examples/edge.acl" --report page.html --chip all
run 2 compile "$examples/edge.acl" --report page.html --compare-placements
run 2 compile "$examples/edge.acl" --report same -o same
run 2 compile "$examples/edge.acl" --report no-such-directory/page.html

finish() {
  [ "$failures" -eq 0 ] || { echo "$failures failed" >&2; exit 1; }
  exit "$1"
}

if ! browser=$(command -v chromium); then
  echo "NOT RUN: there is no chromium to open the pages in; install chromium to have this tested" >&2
  finish 77
fi

# opened PAGE: the page as the browser has it when its script has run, in dom; what the script and the page's policy of
# contents complained of, in complaints.
opened() {
  timeout 120 "$browser" --headless=new --no-sandbox --disable-gpu --user-data-dir="$work/profile" \
    --enable-logging=stderr --dump-dom "file://$work/$1" >dom 2>log || fail "$1 is not opened: $(tail -n 3 log)"
  grep -E "CONSOLE|Uncaught" log >complaints || true
}

for page in page.html hostile.html over.html labels.html open.html; do
  opened "$page"
  [ ! -s complaints ] || fail "$page: $(cat complaints)"
  says dom '<button type="button">'
done
# The same check sees what is wrong when something is.
sed 's|</body>|<script>alert(1)</script><img src="http://localhost/x"></body>|' page.html >foreign.html
opened foreign.html
says complaints "inline script" && says complaints "the image 'http://localhost/x'"

# column N: what stands in that column of the rules, row by row.
column() {
  sed 's/<t\(able\|r\)/\n&/g' dom |
    awk -F '<td>' -v n="$1" '/<table/ { on = /id="rule-table"/ } on && NF > 5 { sub( /<.*/, "", $(n + 1) ); print $(n + 1) }'
}
opened over.html
column 2 >as-written
have=$(xargs <as-written)
[ "$have" = "10 11 20 21 10 11 20 21 30 40 50 60 70 80 81 90 91" ] || fail "not the rules in their order: $have"
column 3 >unsorted
if sort -rnc unsorted 2>/dev/null; then fail "the entries are sorted from the start"; fi
opened over.html#sort-entries
column 3 >sorted
sort -rnc sorted || fail "not sorted by entries: $(xargs <sorted)"
cmp -s <(sort -rn unsorted) sorted || fail "sorting changes what is there: $(xargs <sorted)"

finish 0
