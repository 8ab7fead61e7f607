# shellcheck shell=bash
# shellcheck disable=SC2154 # work is set by scripts/demo
# Standard templates: packed, installed on the node, added to a container and removed again.

say "A node in a folder, and two templates made of installed Debian packages"
show qxa node init "$QXA_NODE_DIR"
template_of base-files os
template_of hostname app
show ls -l "$work"/*.tar.gz

say "The node gets the templates, through the plug-in"
show qxa install "$work/base-files.tar.gz" "$work/hostname.tar.gz"
show qxa list --summary

say "Container 101 gets both; a listener sees the change"
show qxa ct create 101
qxa --format json events --count 2 --timeout 10 >"$work/events" &
listener=$!
# The listener's socket is there before the first change is made.
for _ in $(seq 100); do
    compgen -G "$QXA_NODE_DIR/var/lib/qxagent/listeners/*" >/dev/null && break
    sleep 0.05
done
os_name=$(qxa --format json list --type os | sed -n 's/.*"name": "\(base-files[^"]*\)".*/\1/p' | head -n 1)
app_name=$(qxa --format json list --type app | sed -n 's/.*"name": "\(hostname[^"]*\)".*/\1/p' | head -n 1)
show qxa install --ct 101 "$os_name"
area_of 101 >"$work/area.before"
show qxa install --ct 101 "$app_name"
wait "$listener"
show cat "$work/events"
show qxa list --ct 101
show qxa list --ct 101 --type app --format json

say "A template in use is not removed from the node"
show qxa remove "$app_name" || echo "(exit status $?)"

say "Removing the application template leaves the area as it was before"
show qxa remove --ct 101 "$app_name"
area_of 101 >"$work/area.after"
show diff "$work/area.before" "$work/area.after" && echo "(no difference)"
show qxa history
