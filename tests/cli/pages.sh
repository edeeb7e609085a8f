#!/bin/bash
# pages.sh MAKE_DOCS TOOL INSPECT: checks the words that bash completes, then lines of the man page.
set -eu
# shellcheck disable=SC1090  # made by the script under test
source <("$1" completion "$2")
# shellcheck disable=SC1090
source <("$1" inspect-completion "$3")
failed=0

# offers FUNCTION "typed words" "words to offer" ["words not to offer"]
offers() {
    read -ra COMP_WORDS <<<"program $2"
    [[ $2 == *' ' || -z $2 ]] && COMP_WORDS+=("")
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    "$1" || true
    local word
    for word in $3; do
        [[ " ${COMPREPLY[*]} " == *" $word "* ]] || { echo "$2: $word is missing in: ${COMPREPLY[*]}"; failed=1; }
    done
    for word in ${4:-}; do
        [[ " ${COMPREPLY[*]} " != *" $word "* ]] || { echo "$2: offers $word"; failed=1; }
    done
    [[ -n $3 || ${#COMPREPLY[@]} -eq 0 ]] || { echo "$2: offers ${COMPREPLY[*]} instead of paths"; failed=1; }
}

tool=_QVORASealedBundleBuilder_CLI
offers $tool "" "-tbi -gpdata -genkey --log" "-devid -k"
offers $tool "-tb" "-tbi -tbu" "-pvs"
offers $tool "-tbi -" "-devid --firmware -m --diver -l" "-prvk -hsm -tbi"
offers $tool "-sign -bin a.bin -" "-prvk -a" "-devid -k"
offers $tool "-tbi -o a.tbi -hsm --" "--maxcounter" "--outfile"
offers $tool "-genkey -" "-inkey --keytype" "-k"
offers $tool "-tbi -devid 0x45" "0x450 0x455" "0x462"
offers $tool "-tbi -fir my" ""
offers $tool "-tbi -fir " ""
offers _qvora_inspect "" "show verify extract diff" "--key"
offers _qvora_inspect "verify --" "--against --option-bytes" "--except-signature --output"
offers _qvora_inspect "diff --key k.bin -" "--except-signature --key-b" "--against"
offers _qvora_inspect "extract -" "-o --output" "--nonce"
offers _qvora_inspect "show --as up" "updateImage updatePayload" "hexFile"
offers _qvora_inspect "verify my" ""

# bash itself completes paths, because it quotes those with blanks.
for name in QVORASealedBundleBuilder_CLI qvora-inspect; do
    complete -p $name | grep -q -- '-o default' || { echo "$name: bash doesn't complete paths"; failed=1; }
done

# The page names the release and has the manual's statuses and devices.
release=$("$3" --version | cut -d ' ' -f 2)
for line in ".TH QVORASealedBundleBuilder_CLI 1 \"\" \"QVORA Sealed Bundle Builder $release\" \"User Commands\"" '.B \-pb 8' \
    '.B 255' '\-devid accepts 0x450, 0x455, 0x462, 0x472, 0x476, 0x478, 0x480, 0x481, 0x482, 0x483, 0x484, 0x485, 0x492, 0x497 and 0x4B0.'; do
    "$1" man "$2" | grep -qxF -- "$line" || { echo "the man page lacks: $line"; failed=1; }
done
exit $failed
