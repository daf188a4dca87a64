#!/bin/bash
# Plants one bad include at a time in a copy of the sources and expects tools/check_layers to name
# it, and one good include of each kind, which it must let pass.
set -uo pipefail
cd "$(dirname "$0")/../.."
copy=$(mktemp -d)
trap 'rm -rf "$copy"' EXIT
for folder in libBase include util anim memory undo filecache geometry linalg auto settings programs \
    examples tests; do
    [[ ! -d $folder ]] || cp -r "$folder" "$copy"
done
if ! tools/check_layers "$copy" >/dev/null; then
    echo "the sources themselves have bad edges; see tools/check_layers"
    exit 1
fi

failures=0
# planted good|bad FILE INCLUDE: appends the line to the file, which need not exist.
planted() {
    local kind=$1 file=$copy/$2 line=$3 output fresh= place
    mkdir -p "$(dirname "$file")"
    if [[ -e $file ]]; then cp "$file" "$copy/saved"; else fresh=yes; fi
    printf '%s\n' "$line" >>"$file"
    place="$2:$(wc -l <"$file"): "
    if output=$(tools/check_layers "$copy" 2>&1); then
        [[ $kind == good ]] || { echo "not found: $2: $line"; failures=$((failures + 1)); }
    elif [[ $kind == good ]]; then
        echo "refused: $2: $line"; echo "$output"; failures=$((failures + 1))
    elif [[ $output != *"$place"* ]]; then
        echo "found, but not as $place$line"; echo "$output"; failures=$((failures + 1))
    fi
    if [[ $fresh ]]; then rm "$file"; else mv "$copy/saved" "$file"; fi
}

planted bad settings/x.cpp '#include "KelvoBase/base_reporter.h"'
planted bad settings/x.cpp '#include <unistd.h>'
planted bad settings/x.cpp '  #  include <sys/stat.h> // for stat'
planted bad settings/x.cpp '#include <boost/regex.hpp>'
planted bad settings/x.cpp '#include "tests/support/report_capture.h"'
planted bad settings/x.cpp '#include "no_such_header.h"'
planted bad settings/x.cpp '#include "KelvoBase/KelvoBase.h"'
planted bad util/x.cpp '#include "../settings/../include/KelvoBase/behaviour.h"'
planted bad geometry/x.h '#include "Base/rpt.h"'
planted bad linalg/kernels/x.cpp '#include "Base/rpt.h"'
planted bad libBase/zo/x.cpp '#include "Base/rpt.h"'
planted bad libBase/rpt/x.cpp '#include "Base/zo_util.h"'
planted bad libBase/rpt/x.cpp '#include "KelvoBase/kelvo_api.h"'
planted bad libBase/rpt/x.cpp '#include <fcntl.h>'
planted bad libBase/include/Base/rpt.h '#include "Base/zo_util.h"'
planted bad include/KelvoBase/behaviour.h '#include "KelvoBase/base_reporter.h"'
planted bad include/KelvoBase/behaviour.h '#ifdef _WIN32'
planted bad include/KelvoBase/homeless.h '#include <vector>'
planted bad include/KelvoBase/kelvo_api.h '#include "KelvoBase/behaviour.h"'
planted bad examples/x/x.cpp '#include "util/bounds_report.h"'
planted bad examples/x/x.cpp '#include <unistd.h>'
planted bad tests/consumer/x.cpp '#include "../../util/x.h"'
planted bad programs/velaWarning/x.cpp '#include "KelvoBase/behaviour.h"'
planted good settings/x.cpp '#include "Base/zo_util.h"'
planted good settings/x.cpp '#include <stdio.h>'
planted good settings/x.cpp '// #include <unistd.h>'
planted good libBase/zoUtil/x.cpp '#include "Base/rpt.h"'
planted good libBase/zoOS/posix/x.cpp '#include <unistd.h>'
planted good programs/zocached/x.cpp '#include <sys/socket.h>'
planted good examples/x/x.cpp '#include <KelvoBase/KelvoBase.h>'

# The umbrella header must not forget one.
sed -i '/regex.h/d' "$copy/include/KelvoBase/KelvoBase.h"
output=$(tools/check_layers "$copy" 2>&1)
if [[ $output != *'does not include "include/KelvoBase/regex.h"'* ]]; then
    echo "not found: the umbrella header lacks regex.h"
    failures=$((failures + 1))
fi

((failures == 0)) && echo "all planted includes were judged rightly"
exit $((failures > 0))
