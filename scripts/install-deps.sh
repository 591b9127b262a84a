#!/usr/bin/env bash
# Installs the Debian packages kitsetup builds and tests with. Runs apt-get
# only when something is missing, so repeated builds stay fast.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config
  zlib1g-dev libgtest-dev googletest
  clang libclang-rt-14-dev
  gnustep-devel gobjc++
  xvfb xdotool imagemagick x11-utils openbox fonts-dejavu-core
  locales python3
)
# Needed by tests only: the fleet roll-out test runs the playbook of
# docs/deploy.md with a real Ansible.
test_packages=(
  ansible-core
)
packages+=("${test_packages[@]}")

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done

SUDO=""
if [ "$(id -u)" != 0 ]; then SUDO="sudo"; fi

if [ ${#missing[@]} -gt 0 ]; then
  echo "install-deps: installing ${missing[*]}"
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi

# Locales that the interface tests run under (C.UTF-8 ships with libc).
need_locales=(en_US.UTF-8 ru_RU.UTF-8 uk_UA.UTF-8 de_DE.UTF-8)
gen=0
for l in "${need_locales[@]}"; do
  locale -a 2>/dev/null | grep -qi "^${l%%.*}\.utf-\?8$" || gen=1
done
if [ $gen = 1 ]; then
  for l in "${need_locales[@]}"; do
    $SUDO sed -i "s/^# *\(${l} UTF-8\)/\1/" /etc/locale.gen 2>/dev/null || true
    grep -q "^${l} UTF-8" /etc/locale.gen 2>/dev/null || echo "${l} UTF-8" | $SUDO tee -a /etc/locale.gen >/dev/null
  done
  $SUDO locale-gen >/dev/null
fi
