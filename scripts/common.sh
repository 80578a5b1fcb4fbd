# Shared by the scripts: where the project is, one line for each step, the tools to build with. To be sourced.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

BUILD_TOOLS=(g++ cmake ninja-build libgtest-dev libcli11-dev iproute2)

say() {
    printf '==> %s\n' "$*"
}

# need_packages NAME...: installs those that are missing.
need_packages() {
    local missing=() name
    for name in "$@"; do
        dpkg-query -W -f '${Status}' "$name" 2>/dev/null | grep -q '^install ok installed$' || missing+=("$name")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    say "Installing ${missing[*]}"
    local root=()
    [ "$(id -u)" -eq 0 ] || root=(sudo)
    "${root[@]}" apt-get update -qq
    DEBIAN_FRONTEND=noninteractive "${root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}

# build_preset NAME [TARGET...]: configures and builds one kind of build, all of it without targets.
build_preset() {
    local preset=$1
    shift
    say "Building $preset"
    cmake --preset "$preset" >/dev/null
    cmake --build --preset "$preset" -- --quiet "$@"
}

# test_preset NAME: runs the whole suite of one kind of build.
test_preset() {
    build_preset "$1"
    say "Testing $1"
    ctest --preset "$1" --parallel "$(nproc)" --progress
}

# linked_libraries PROGRAM: what it loads when it starts, one a line.
linked_libraries() {
    readelf -d "$1" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p'
}

# foreign_libraries PROGRAM: those of them that the daemon must not link.
foreign_libraries() {
    linked_libraries "$1" | grep -vE '^(libstdc\+\+|libc|libpthread|libgcc_s|libm|ld-linux.*)\.so' || true
}

# fill_section DOCUMENT MARK FILE: puts FILE between the document's marks of that name, in place of what stands there.
fill_section() {
    local filled
    filled=$(mktemp)
    awk -v mark="$2" -v file="$3" '
        $0 == "<!-- end " mark " -->" { skip = 0 }
        !skip { print }
        $0 == "<!-- begin " mark " -->" { while ((getline line < file) > 0) print line; skip = 1 }
    ' "$1" >"$filled"
    cat "$filled" >"$1"
    rm "$filled"
}
