#!/usr/bin/env bash
# The playbook of docs/deploy.md, run for real against this machine
# (connection: local) twice: the first run installs and reports the install
# task changed, the second changes nothing, and the template directory then
# holds exactly the kit's files. Exits 77 (skipped) without ansible-playbook.
# Usage: ansible_rollout_test.sh SOURCE_DIR KITTOOL
set -euo pipefail
source_dir=$1
kittool=$2
command -v ansible-playbook >/dev/null || { echo "ansible-playbook is missing: skipped"; exit 77; }

work=$(mktemp -d /tmp/kitsetup-ansible-XXXXXX)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/tree/Docs" "$work/tree/conf" "$work/tmp" "$work/home"
echo "<p>read me</p>" > "$work/tree/Docs/readme.htm"
echo "a=1" > "$work/tree/conf/main.cfg"
"$kittool" pack --describe en "Templates" "Vendor" '\Docs\readme.htm' "$work/tree" "$work/mivo.efd" >/dev/null

# The first yaml block of the document is the playbook.
awk '/^```yaml$/ {on=1; next} /^```$/ && on {exit} on' "$source_dir/docs/deploy.md" > "$work/rollout.yml"
echo "localhost ansible_connection=local ansible_python_interpreter=$(command -v python3)" > "$work/inventory"

run() {
  HOME="$work/home" TMPDIR="$work/tmp" ANSIBLE_LOCAL_TEMP="$work/tmp" ANSIBLE_REMOTE_TEMP="$work/tmp" \
  ANSIBLE_STDOUT_CALLBACK=default ANSIBLE_NOCOLOR=1 ANSIBLE_RETRY_FILES_ENABLED=0 \
    ansible-playbook -i "$work/inventory" "$work/rollout.yml" \
      -e "kit_source=$work/mivo.efd" -e "kit_path=$work/target.efd" \
      -e "template_directory=$work/templates" -e "kittool=$kittool" > "$work/run$1.log" || { cat "$work/run$1.log"; exit 1; }
}
run 1
run 2

# The install task's status and the play recap (Debian's ansible-core has no
# JSON callback, so the default output is read).
report() {
  { sed -n '/TASK \[Install the kit\]/,/^TASK/p' "$work/run$1.log" | grep -Eo '^(ok|changed|fatal|skipping): \[localhost\]'
    grep -E '^localhost +:' "$work/run$1.log" | grep -Eo '(changed|failed)=[0-9]+'; } | paste -sd' '
}
[[ $(report 1) == "changed: [localhost] changed="[1-9]*" failed=0" ]] || { echo "first run: expected the install changed:"; report 1; exit 1; }
[[ $(report 2) == "ok: [localhost] changed=0 failed=0" ]] || { echo "second run: expected nothing changed:"; report 2; exit 1; }
"$kittool" verify --against "$work/templates" "$work/mivo.efd"
