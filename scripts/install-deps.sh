#!/usr/bin/env bash
# Installs what building, testing and running qxmatte needs on Debian or
# Ubuntu. Does nothing when every package is already installed; runs apt-get
# directly as root and through sudo otherwise. Never asks questions.
set -euo pipefail

packages=(
  build-essential cmake g++ make binutils pkg-config
  libopencv-dev libsuitesparse-dev libopenblas-dev libopenblas0-serial
  libcli11-dev libgtest-dev libbenchmark-dev
  gimp libgimp2.0-dev
  python3-pybind11 python3-dev python3-numpy python3-pytest python3-pil
  python3-venv python3-pip python3-distributed python3-tqdm mypy parallel
  clang libclang-rt-14-dev libomp-14-dev libfuzzer-14-dev
  valgrind cppcheck clang-tidy mandoc
)

missing=()
for p in "${packages[@]}"; do
  status=$(dpkg-query -W -f='${Status}' "$p" 2>/dev/null || true)
  [[ "$status" == "install ok installed" ]] || missing+=("$p")
done

if [[ ${#missing[@]} -eq 0 ]]; then
  echo "install-deps: all ${#packages[@]} packages present"
  exit 0
fi

if [[ $(id -u) -eq 0 ]]; then
  as_root=(env)
else
  as_root=(sudo env)
fi
echo "install-deps: installing ${missing[*]}"
"${as_root[@]}" DEBIAN_FRONTEND=noninteractive apt-get update
"${as_root[@]}" DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends "${missing[@]}"
