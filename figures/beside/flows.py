#!/usr/bin/env python3
"""What one would write in place of an agent: makes all flows of a policy and has the bridge's own
tool put them. It keeps nothing between its runs, so each change makes all flows anew, and the tool
compares them with those that stand.

Usage: flows.py STATE BRIDGE; the state is what `qorclient get` prints.
"""

import json
import subprocess
import sys

state = json.load(open(sys.argv[1]))
mapping = state["interface/status/eth/vxlan"]["vtiStatus"]["Vxlan1"]["vlanToVniMap"]
vlans = {entry["vni"]: int(vlan) for vlan, entry in mapping.items()}
flows = []
for fragment in state["qor/version1/policy"]["policy"]["policyFragment"].values():
    for flow in fragment["flow"].values():
        match, action = flow["match"], flow["action"]
        for interface in fragment["serviceIntfSet"][flow["serviceIntfKey"]]["intf"]:
            port = int(interface.removeprefix("Ethernet"))
            flows.append(f"table=10,priority=100,in_port={port},dl_vlan={vlans[match['vni']]},"
                         f"dl_src={match['srcMac']},"
                         f"actions=set_field:{4096 + vlans[action['vni']]}->vlan_vid,resubmit(,20)\n")
subprocess.run(["ovs-ofctl", "-O", "OpenFlow14", "--bundle", "replace-flows", sys.argv[2], "-"],
               input="".join(flows), text=True, check=True)
