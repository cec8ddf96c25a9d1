# shellcheck shell=sh
# Read by every other script before anything else: how they take their words, and how they end. What they say of their
# usage is in the comment at the top of each.

case ${1-} in
  -h | --help)
    sed '1d; /^[^#]/,$d; s/^# \{0,1\}//' "$0"
    exit
    ;;
esac
usage=$(sed -n 's/^# Usage: /usage: /p; s/^#        /       /p' "$0")

# refuse [text]: ends the script, whose words were wrong.
refuse() {
  [ $# -eq 0 ] || echo "script/${0##*/}: $*" >&2
  printf '%s\n' "$usage" >&2
  exit 2
}

# no_options "$@": refuses options.
no_options() {
  for word; do
    case $word in -*) refuse "no option $word" ;; esac
  done
}

# at_most <number> "$@": refuses more words than that, and options.
at_most() {
  most=$1
  shift
  no_options "$@"
  [ $# -le "$most" ] || refuse 'too many words'
}

# fail <text>: ends the script, which could not do what it was asked to.
fail() {
  printf 'script/%s: %s\n' "${0##*/}" "$*" >&2
  exit 1
}

# prepare <folder>: makes the folder where it is missing, and fails in a line where nothing can be written into it.
prepare() {
  if ! trouble=$({ mkdir -p "$1" && head -c 1048576 /dev/zero >"$1/.room"; } 2>&1); then
    rm -f "$1/.room" 2>/dev/null || :
    fail "cannot write below $PWD: ${trouble##*: }"
  fi
  rm -f "$1/.room"
}

# give_up <folder> <output>: fails with what a tool had to say that writes into the folder, but in a line where it says
# no more than that this could not be done.
give_up() {
  prepare "$1"
  # Compilers also show lines of sources, behind a bar.
  for trouble in 'No space left on device' 'Disk quota exceeded' 'Read-only file system'; do
    ! printf '%s\n' "$2" | grep -v '|' | grep -q "$trouble\$" || fail "$trouble, here or in ${TMPDIR:-/tmp}"
  done
  [ -z "$2" ] || printf '%s\n' "$2" >&2
  exit 1
}

# has_preset <configure|build|test> <name>: whether CMake has that preset here.
has_preset() {
  command -v cmake >/dev/null || script/bootstrap || exit 1
  cmake "--list-presets=$1" | sed -n 's/^ *"\([^"]*\)".*/\1/p' | grep -qxF -e "$2"
}
