#!/bin/sh
# buildVersion.sh SOURCE TOOL INSPECT [WINDOW]: checks that the programs print their release and commit, that the tool's
# banner keeps its own version, and that an exported archive contains its commit.
set -eu
source=$1 tool=$2 inspect=$3 window=${4:-}
fail() {
    echo "$1"
    exit 1
}

release=$(sed -n 's/^project(.* VERSION \([0-9.]*\) .*/\1/p' "$source/CMakeLists.txt")
named=$("$inspect" --version)
echo "$named" | grep -qxE "qvora-inspect $release \(([0-9a-f]{12}(-dirty)?|unknown)\)" || fail "--version prints: $named"
if [ -n "$window" ]; then
    [ "$(QT_QPA_PLATFORM=offscreen "$window" --version)" = "QVORA Sealed Bundle Builder ${named#qvora-inspect }" ] ||
        fail "the window has another version"
fi
NO_COLOR=1 "$tool" -h | grep -qxE ' +QVORA Sealed Bundle Builder v2\.19\.0 +' || fail "the banner has another version"

[ -e "$source/.git" ] || exit 0
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
git -C "$source" archive HEAD cmake | tar -x -C "$folder"
cmake -DSOURCE="$folder" -DRELEASE=1.2.3 -DOUTPUT="$folder/a.cpp" -P "$folder/cmake/writeBuildVersion.cmake"
commit=$(git -C "$source" rev-parse HEAD | cut -c 1-12)
grep -qF "= \"1.2.3 ($commit)\";" "$folder/a.cpp" || fail "an archive of $commit has: $(cat "$folder/a.cpp")"
