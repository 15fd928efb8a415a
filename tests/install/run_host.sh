#!/bin/bash
# usage: run_host.sh QARHOST PLUGIN loads|refuses
set -euo pipefail
qarhost=$1
plugin=$2
expected=$3
site=$(mktemp -d)
trap 'rm -rf "$site"' EXIT

cat >"$site/site.toml" <<TOML
[site]
name = "outside"
data_dir = "data"

[[plugin]]
id = "hello"
path = "$plugin"
TOML

if [[ $expected == refuses ]]; then
    status=0
    "$qarhost" run --site "$site/site.toml" >"$site/out" 2>&1 || status=$?
    cat "$site/out"
    [[ $status -eq 4 ]] && grep -q 'version' "$site/out"
    exit
fi

coproc host { exec "$qarhost" run --site "$site/site.toml" 2>&1; }
pid=$host_PID
state=starting
said=
while IFS= read -r -t 30 line <&"${host[0]}"; do
    echo "$line"
    case $line in
    *"hello from hello"*)
        said="hello from hello"
        ;;
    "qarhost ready "*)
        state=ready
        "$qarhost" status --site "$site/site.toml" --json | tee "$site/status"
        grep -q '"id":"hello","state":"started"' "$site/status"
        [[ $said == hello* ]]
        kill -TERM "$pid"
        ;;
    "qarhost stopped")
        [[ $state == ready ]] && state=stopped
        ;;
    esac
done
[[ $state == stopped ]]
wait "$pid"
