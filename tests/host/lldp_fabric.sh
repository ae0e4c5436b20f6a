#!/usr/bin/env bash
# lldp_fabric.sh FOLDER: runs a real lldpd for each node of a small fabric and writes what lldpcli
# prints on its switches to FOLDER/json0 and FOLDER/json. The nodes are network namespaces, the
# cables veth pairs. Everything stands in namespaces that end with the script, /run included, so it
# touches nothing of the machine. Exit status 77: it may not do so here.
#
#         spine1            srv1 tells that its two ports are bundled, by the TLV that a bond
#        e1    e2           would send; there need be no bonding in the kernel for it.
#         |     |
#        e49   e49
#      leaf1   leaf2
#      e1  e2   e1
#       |  |     |
#    eth0 eth1  eth0
#       srv1    srv2
set -euo pipefail

cannot() {
  echo "no lldpd in namespaces here: $*" >&2
  exit 77
}

nodes=(leaf1 leaf2 spine1 srv1 srv2)

if [[ ${2:-} != inside ]]; then
  PATH=$PATH:/usr/sbin:/sbin
  for program in lldpd lldpcli ip unshare; do
    command -v "$program" >/dev/null || cannot "no $program"
  done
  ((EUID == 0)) || cannot "not root"
  unshare --net --mount --uts --pid --fork --propagation private true 2>/dev/null ||
    cannot "no new namespaces"
  mkdir -p "$1"
  # With the first process of the namespace all others end.
  exec unshare --net --mount --uts --pid --fork --propagation private "$0" "$(realpath "$1")" inside
fi

folder=$1
mount -t tmpfs none /run 2>/dev/null || cannot "no mounts"
mkdir -p /run/lldpd /run/netns
for node in "${nodes[@]}"; do ip netns add "$node" 2>/dev/null || cannot "no network namespaces"; done

# cable NODE PORT MAC NODE PORT MAC
cable() {
  ip link add name near netns "$1" address "02:00:00:00:$3" type veth \
    peer name far netns "$4" address "02:00:00:00:$6" 2>/dev/null || cannot "no veth pairs"
  ip -n "$1" link set near name "$2"
  ip -n "$4" link set far name "$5"
  ip -n "$1" link set "$2" up
  ip -n "$4" link set "$5" up
}
cable leaf1 e49 01:49 spine1 e1 03:01
cable leaf2 e49 02:49 spine1 e2 03:02
cable leaf1 e1 01:01 srv1 eth0 04:00
cable leaf1 e2 01:02 srv1 eth1 04:01
cable leaf2 e1 02:01 srv2 eth0 05:00

# Who forwards, says that he is a router.
for node in leaf1 leaf2 spine1; do
  ip netns exec "$node" sh -c 'echo 1 > /proc/sys/net/ipv4/ip_forward'
done
ask() { lldpcli -u "/run/$1.sock" "${@:2}"; }
for node in "${nodes[@]}"; do
  ip netns exec "$node" unshare --uts sh -c \
    "hostname $node; exec lldpd -d -S 'an example' -u /run/$node.sock" &>"/run/$node.log" &
done
for node in "${nodes[@]}"; do
  for _ in {1..100}; do
    if [[ -S /run/$node.sock ]] && ask "$node" configure lldp tx-interval 1 &>/dev/null; then
      continue 2
    fi
    sleep 0.1
  done
  cat "/run/$node.log" >&2
  cannot "lldpd does not start"
done
# On a busy machine a neighbour must not be forgotten before the last one is heard.
for node in "${nodes[@]}"; do ask "$node" configure lldp tx-hold 100 >/dev/null; done
ask srv1 configure lldp custom-tlv oui 00,12,0f subtype 3 oui-info 03,00,00,00,07 >/dev/null

# What was sent before a neighbour listened, would be sent again within half a minute only.
send() { for node in "${nodes[@]}"; do ask "$node" update >/dev/null; done; }

# Complete once each switch sees all its neighbours, srv1 with the bundle.
told() { ask "$1" -f keyvalue show neighbors details | grep -c "$2" || true; }
for _ in {1..100}; do
  send
  if (($(told leaf1 'chassis\.name=') == 3 && $(told leaf2 'chassis\.name=') == 2 &&
    $(told spine1 'chassis\.name=') == 2 && $(told leaf1 'aggregation=7') == 2)); then
    for form in json0 json; do
      mkdir -p "$folder/$form"
      for node in leaf1 leaf2 spine1; do
        ask "$node" -f "$form" show neighbors details >"$folder/$form/$node.json"
      done
    done
    exit 0
  fi
  sleep 0.2
done
if (($(told leaf1 'chassis\.name=') == 0)); then cannot "lldpd hears nobody over these links"; fi
echo "the switches do not see all their neighbours" >&2
ask leaf1 show neighbors details >&2
exit 1
