# What the scripts share; they source it. Leaves the current folder at the project's root.

# A folder of real inputs for the tests, seen from where the script was started.
if [ -n "${KX_TEST_DATA:-}" ]; then
  KX_TEST_DATA="$(realpath -m "$KX_TEST_DATA")"
  export KX_TEST_DATA
fi

cd "$(dirname "${BASH_SOURCE[0]}")/.."

# Compilers run through ccache where it is installed; it is not needed.
if [ -z "${CMAKE_CXX_COMPILER_LAUNCHER:-}" ] && command -v ccache >/dev/null; then
  export CMAKE_C_COMPILER_LAUNCHER=ccache CMAKE_CXX_COMPILER_LAUNCHER=ccache
fi

jobs="$(nproc)"

# configure PRESET [CMake's arguments]
configure() {
  cmake --preset "$1" -DKX_TEST_DATA="${KX_TEST_DATA:-}" --log-level=WARNING "${@:2}"
}
