#!/usr/bin/env bash
# Installs the npm packages that read nimbex-cl's reports in tests: a
# browser driver for the headless Chromium of Debian, and the SARIF
# validator. They go into the build tree (DIR), never into the sources.
# A machine without npm or the registry gets a message, not a failure: the
# tests that need the tools then report themselves skipped.
#   install_report_tools.sh DIR
set -uo pipefail
dir=$1
packages=(playwright-core@1.65.1 @microsoft/sarif-multitool-linux@5.7.0)
installed() {
  [ -f "$dir/node_modules/playwright-core/package.json" ] &&
    [ -f "$dir/node_modules/@microsoft/sarif-multitool-linux/Sarif.Multitool" ] &&
    grep -q '"version": "1.65.1"' "$dir/node_modules/playwright-core/package.json"
}
if installed; then
  echo "report tools already in $dir"
  exit 0
fi
if ! command -v npm >/dev/null; then
  echo "npm is missing: the browser and SARIF tests will be skipped"
  exit 0
fi
mkdir -p "$dir"
[ -f "$dir/package.json" ] || echo '{"private": true}' >"$dir/package.json"
if ! npm install --prefix "$dir" --no-audit --no-fund --loglevel=error "${packages[@]}"; then
  echo "npm could not install ${packages[*]}: the browser and SARIF tests will be skipped"
fi
exit 0
