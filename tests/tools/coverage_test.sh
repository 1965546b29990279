#!/usr/bin/env bash
# Coverage of runs, joined and shown: coverage_test.sh ZEFT_COVERAGE COUNTER
program=$1 counter=$2
. "$(dirname "$0")/../support/checks.sh"

# The counter counts from 0 to 10 while it runs freely: its high bit rises, but does not fall.
"$counter" --coverage run.json >out 2>&1
holds 'a free run' grep -q '"net": "top.count", "range": "\[3:0\]", "width": 4, "rose": "f", "fell": "7"' run.json
"$counter" --coverage traced.json --trace top.tap --vcd x.vcd >out 2>&1
holds 'traced nets are covered' grep -q '"net": "top.tap"' traced.json
"$counter" --vcd run.vcd >out 2>&1
"$counter" --validate run.vcd --coverage compared.json >out 2>&1
holds 'a comparison counts the same' cmp run.json compared.json
"$counter" --stop 32ns --coverage short.json >out 2>&1

for order in 'run.json short.json' 'short.json run.json' 'short.json run.json run.json'; do
    # shellcheck disable=SC2086 # a list
    runs 0 merge $order -o merged.json
    holds "merged: $order" cmp run.json merged.json
done
runs 0 merge short.json
holds 'one file stays as it is' cmp short.json out
runs 2 merge run.json traced.json
says 'zeft-coverage: traced.json: is of another model than run.json: it has a net top.tap'
sed 's/"model": "top"/"model": "other"/' run.json >other.json
runs 2 merge run.json other.json
says 'zeft-coverage: other.json: is of another model than run.json: other, not top'
sed 's/zeft-coverage 1/zeft-coverage 2/' run.json >newer.json
runs 2 report newer.json
says "zeft-coverage: newer.json:2: the format is 'zeft-coverage 2', not 'zeft-coverage 1'"
sed 's/"rose": "f"/"rose": "1f"/' run.json >wrong.json
runs 2 report wrong.json
says "zeft-coverage: wrong.json: top.count: '1f' has not 4 bits"
runs 2 report missing.json
says 'zeft-coverage: missing.json: cannot be read: No such file or directory'

runs 0 report run.json
says 'scope    nets     bits  rose %  fell %  toggled'
says 'top         2        5   100.0    80.0     80.0'
says 'top.count[3:0]     75.0  3'
runs 0 report --below 75 run.json
holds 'nothing is below' test "$(wc -l <out)" -eq 2
runs 0 report --html page.html run.json
holds 'a page' python3 -c "import html.parser
class Page(html.parser.HTMLParser):
    def handle_starttag(self, tag, attributes):
        assert tag not in ('script', 'link', 'img')
Page().feed(open('page.html').read())"
exit $failed
