#!/usr/bin/env bash
# Installs what building and testing VlQueryEngine needs, where it is missing.
# As root it installs with apt-get; otherwise it names the missing packages
# and fails.
set -euo pipefail

packages=(cmake ninja-build g++ pkg-config libsqlite3-dev libgtest-dev libbenchmark-dev libcli11-dev
          libpq-dev postgresql libxml2-dev libzip-dev uuid-dev libxml2-utils libicu-dev)

missing=()
for package in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$package")
  fi
done
if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

if [ "$(id -u)" -ne 0 ]; then
  echo "setup-deps: missing packages: ${missing[*]}" >&2
  echo "setup-deps: run as root, or: sudo apt-get install ${missing[*]}" >&2
  exit 1
fi

echo "setup-deps: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
# The tests start servers of their own (scripts/pg-test-server.sh); the
# package's own cluster, which would run as a service, is not made. The
# package keeps a createcluster.conf that is there (ucf, told to keep it).
if [ ! -e /etc/postgresql-common/createcluster.conf ]; then
  mkdir -p /etc/postgresql-common
  printf '%s\n' "create_main_cluster = false" "include_dir '/etc/postgresql-common/createcluster.d'" \
    >/etc/postgresql-common/createcluster.conf
fi
export UCF_FORCE_CONFFOLD=1
apt-get update -q
apt-get install -y -q --no-install-recommends "${missing[@]}"
