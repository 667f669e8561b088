#!/usr/bin/env python3
"""A small Ceph on this machine: each node in a network namespace of its own, joined by a bridge.

Nothing outside the namespaces and one directory is touched. Needs root.

    ceph_cluster.py run [--nodes N] [--gateways] -- COMMAND...     starts one, runs the command in the first client's namespace, stops it

CEPH_CONF leads the command to the cluster; its pool is "images", of which STSIMAGE_RADOS_USER is the user. With --gateways,
AWS_ENDPOINT_URL and the like lead it to its gateways; the bucket is "images" too. STSPI_CLUSTER_CLIENTS has the names of two clients'
namespaces.
"""
import argparse
import contextlib
import json
import os
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import uuid

from network import Network
from processes import call
from s3_gateways import S3Gateways

POOL = "images"
USER = "stsimage"  # may use that pool and nothing else, as the documentation tells to set it up
STORE_BYTES = 12 << 30  # of each OSD; a file with holes
SETTINGS = """
ms mon client mode = crc
osd pool default size = {replicas}
osd pool default min size = {least}
osd pool default pg num = 4
osd pool default pg autoscale mode = off
osd crush update on start = false
osd crush chooseleaf type = 1
mon data avail warn = 1
mon data avail crit = 1
mon allow pool delete = true
mon allow pool size one = true
mon osd min down reporters = 1
mon osd down out interval = 600
osd heartbeat grace = 6
osd heartbeat interval = 2
osd recovery sleep hdd = 0
osd recovery sleep ssd = 0
osd recovery max active = 16
osd objectstore = bluestore
bluestore block size = {store_bytes}
bluestore block create = true
bluestore cache autotune = false
bluestore cache size = 67108864
osd memory target = 939524096
"""


class CephCluster(Network):
    """In use as a context: the cluster runs within it."""

    def __init__(self, nodes=3):
        super().__init__()
        self.nodes = list(range(1, nodes + 1))
        self.daemons = {}  # name -> process

    def make_network(self):
        self.add_switch()
        for node in self.nodes:
            self.connect(f"node{node}", f"10.77.0.{node}")
        for client in (1, 2):
            self.connect(f"client{client}", f"10.77.0.{100 + client}")

    # ---- daemons

    def start_daemon(self, name, node, *command):
        log = open(f"{self.directory}/{name}.out", "ab")
        self.daemons[name] = subprocess.Popen(
            self.within(f"node{node}", *command, "-c", self.configuration, "-f"), stdout=log, stderr=log,
            start_new_session=True)
        log.close()

    def kill_daemon(self, name):
        daemon = self.daemons.pop(name)
        if daemon.poll() is None:
            os.killpg(daemon.pid, signal.SIGKILL)
        daemon.wait()

    def start_monitor(self, node):
        self.start_daemon(f"mon.{node}", node, "ceph-mon", "-i", str(node))

    def start_osd(self, node):
        self.start_daemon(f"osd.{node - 1}", node, "ceph-osd", "-i", str(node - 1))

    def start_manager(self):
        self.start_daemon("mgr.1", 1, "ceph-mgr", "-i", "1")

    def run_in_client(self, program, *arguments):
        return call(*self.within("client1", program, "-c", self.configuration, *arguments))

    def ceph(self, *arguments):
        return self.run_in_client("ceph", "--connect-timeout", "30", *arguments)

    def make_pool(self, name, placement_groups, application):
        self.ceph("osd", "pool", "create", name, str(placement_groups))
        self.ceph("osd", "pool", "application", "enable", name, application)

    def status(self):
        return json.loads(self.ceph("status", "--format", "json"))

    def wait_for(self, what, condition, seconds=180):
        deadline = time.monotonic() + seconds
        while not condition():
            for name, daemon in self.daemons.items():
                if daemon.poll() is not None:
                    raise RuntimeError(f"{name} has ended with {daemon.returncode}, see {self.directory}/{name}.out")
            if time.monotonic() > deadline:
                raise RuntimeError(f"waited {seconds} s for {what}: {self.ceph('status')}")
            time.sleep(0.5)

    def all_is_active(self):
        state = self.status()["pgmap"]
        return state.get("num_pgs", 0) > 0 and all(
            pgs["state_name"] == "active+clean" for pgs in state["pgs_by_state"])

    def wait_until_clean(self):
        self.wait_for("every placement group to be clean", self.all_is_active)

    # ---- life

    def write_configuration(self, cluster_id):
        replicas = len(self.nodes)
        addresses = ",".join(f"[v2:10.77.0.{node}:3300,v1:10.77.0.{node}:6789]" for node in self.nodes)
        with open(self.configuration, "w") as out:
            out.write(f"[global]\nfsid = {cluster_id}\nmon host = {addresses}\n")
            out.write(SETTINGS.format(replicas=replicas, least=max(1, replicas - 1), store_bytes=STORE_BYTES))
            for kind in ("mon", "osd", "mgr", "mds"):
                out.write(f"{kind} data = {self.directory}/{kind}.$id\n")
            out.write(f"run dir = {self.directory}\nlog file = {self.directory}/$name.log\n"
                      f"admin socket = {self.directory}/$name.asok\npid file =\nkeyring = {self.directory}/keyring\n")
            for node in self.nodes:
                out.write(f"[mon.{node}]\npublic addr = 10.77.0.{node}\n")
                out.write(f"[osd.{node - 1}]\npublic addr = 10.77.0.{node}\ncluster addr = 10.77.0.{node}\n")
            out.write("[mgr.1]\npublic addr = 10.77.0.1\n[mds.a]\npublic addr = 10.77.0.1\n[client]\nlog file =\nadmin socket =\n"
                      f"[client.{USER}]\nkeyring = {self.directory}/ceph.client.{USER}.keyring\n")

    def make_keys(self):
        everything = {"mon": "allow *", "osd": "allow *", "mgr": "allow *", "mds": "allow *"}
        owners = {"mon.": {"mon": "allow *"}, "client.admin": everything, "mgr.1": {**everything, "mon": "allow profile mgr"},
                  "mds.a": {**everything, "mon": "allow profile mds"}}
        for node in self.nodes:
            owners[f"osd.{node - 1}"] = {"mon": "allow profile osd", "mgr": "allow profile osd", "osd": "allow *"}
            owners[f"client.gateway{node}"] = {"mon": "allow rw", "osd": "allow rwx"}
        keyring = f"{self.directory}/keyring"
        call("ceph-authtool", "--create-keyring", keyring)
        for owner, capabilities in owners.items():
            call("ceph-authtool", keyring, "--gen-key", "-n", owner,
                 *(word for service, capability in capabilities.items() for word in ("--cap", service, capability)))

    def make_user(self):
        with open(f"{self.directory}/ceph.client.{USER}.keyring", "w") as out:
            out.write(self.ceph("auth", "get-or-create", f"client.{USER}", "mon", "allow r", "osd", f"allow rwx pool={POOL}"))

    def make_monitors(self, cluster_id):
        monitor_map = f"{self.directory}/monmap"
        call("monmaptool", "--create", "--fsid", cluster_id, monitor_map)
        for node in self.nodes:
            call("monmaptool", "--addv", str(node), f"[v2:10.77.0.{node}:3300,v1:10.77.0.{node}:6789]", monitor_map)
        for node in self.nodes:
            os.mkdir(f"{self.directory}/mon.{node}")
            call("ceph-mon", "--mkfs", "-i", str(node), "--monmap", monitor_map, "--keyring", f"{self.directory}/keyring",
                 "-c", self.configuration)
            self.start_monitor(node)

    def make_osds(self):
        for node in self.nodes:
            osd = str(node - 1)
            os.mkdir(f"{self.directory}/osd.{osd}")
            osd_id = str(uuid.uuid4())
            self.ceph("osd", "new", osd_id, osd)
            call(*self.within(f"node{node}", "ceph-osd", "-i", osd, "--mkfs", "--osd-uuid", osd_id, "-c", self.configuration))
            host = f"host{node}"
            self.ceph("osd", "crush", "add-bucket", host, "host")
            self.ceph("osd", "crush", "move", host, "root=default")
            self.ceph("osd", "crush", "add", f"osd.{osd}", "1.0", f"host={host}")
            self.start_osd(node)

    def start(self):
        cluster_id = str(uuid.uuid4())
        self.directory = tempfile.mkdtemp(prefix="stspi-ceph-", dir=os.environ.get("TMPDIR", "/var/tmp"))
        os.chmod(self.directory, 0o755)
        self.configuration = f"{self.directory}/ceph.conf"
        self.make_network()
        self.write_configuration(cluster_id)
        self.make_keys()
        self.make_monitors(cluster_id)
        self.wait_for("a quorum", lambda: len(self.status()["quorum"]) == len(self.nodes))
        os.mkdir(f"{self.directory}/mgr.1")
        self.start_manager()
        self.make_osds()
        self.wait_for("the OSDs", lambda: self.status()["osdmap"]["num_up_osds"] == len(self.nodes))
        self.make_pool(POOL, 16, "stsimage")
        self.make_user()
        self.wait_until_clean()

    def stop(self):
        for name in list(self.daemons):
            self.kill_daemon(name)
        self.remove()
        shutil.rmtree(self.directory, ignore_errors=True)

    def environment(self):
        return dict(os.environ, CEPH_CONF=self.configuration, STSIMAGE_RADOS_USER=USER,
                    STSPI_CLUSTER_CLIENTS=" ".join(self.namespace(f"client{client}") for client in (1, 2)))

    def __enter__(self):
        try:
            self.start()
        except BaseException:
            self.stop()
            raise
        return self

    def __exit__(self, *_):
        self.stop()


def main():
    arguments = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    arguments.add_argument("action", choices=["run"])
    arguments.add_argument("--nodes", type=int, default=3)
    arguments.add_argument("--gateways", action="store_true")
    arguments.add_argument("command", nargs="+")
    chosen = arguments.parse_args()
    started = time.monotonic()
    with contextlib.ExitStack() as running:
        cluster = running.enter_context(CephCluster(chosen.nodes))
        environment = cluster.environment()
        if chosen.gateways:
            environment |= running.enter_context(S3Gateways(cluster)).environment()
        print(f"the cluster runs after {time.monotonic() - started:.0f} s: {cluster.configuration}", flush=True)
        return subprocess.run(cluster.within("client1", *chosen.command), env=environment, check=False).returncode


if __name__ == "__main__":
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))
    sys.exit(main())
