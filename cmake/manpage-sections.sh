#!/bin/sh
# The man page's section per subcommand for help2man --include: each
# subcommand's whole --help (options, examples, exit statuses,
# environment), laid out as the terminal shows it.
# usage: manpage-sections.sh ZSL_REPLAY OUTPUT
set -eu
tool=$1
out=$2
: >"$out.tmp"
for command in replay explain whatif summarize compare tags; do
    {
        printf '[SUBCOMMAND %s]\n.nf\n' "$(echo "$command" | tr a-z A-Z)"
        # roff: a backslash is written \e, and a line may not start with . or '; help2man: nor with [
        "$tool" "$command" --help | sed -e 's/\\/\\e/g' -e "s/^\([.'[]\)/\\\\\&\1/"
        printf '.fi\n'
    } >>"$out.tmp"
done
mv "$out.tmp" "$out"
