"""A server that speaks NFS 4, and mounts of it for two clients: a directory that two hosts share.

It is the server of the kernel that this runs under, with its state in the usual places. Nothing of it is taken away: that is left to the
end of user_mode_linux.sh.
"""
import os
import subprocess
import tempfile
import time

from network import Network
from processes import call

ADDRESS = "10.77.0.1"
LEASE = 15  # seconds until a client that is not heard of loses its locks
CONTROL = "/proc/fs/nfsd"


class NfsServer(Network):
    def at_server(self, *command):
        return call(*self.beside("server", *command))

    def make_network(self):
        self.add_switch()
        self.connect("server", ADDRESS)
        for client in (1, 2):
            self.connect(f"client{client}", f"10.77.0.{100 + client}")

    def start_threads(self):
        self.at_server("rpc.nfsd", "--no-nfs-version", "3", "--nfs-version", "4.2", "8")

    def stop_threads(self):
        """What clients have open and locked is kept for them if they come back."""
        self.at_server("rpc.nfsd", "0")

    def start(self):
        self.directory = tempfile.mkdtemp(prefix="stspi-nfs-", dir=os.environ.get("TMPDIR", "/var/tmp"))
        self.make_network()
        pipes = "/var/lib/nfs/rpc_pipefs"
        for directory in (pipes, "/var/lib/nfs/nfsdcld"):
            os.makedirs(directory, exist_ok=True)
        self.at_server("mount", "-t", "rpc_pipefs", "rpc_pipefs", pipes)
        self.at_server("mount", "-t", "nfsd", "nfsd", CONTROL)
        for setting in ("nfsv4leasetime", "nfsv4gracetime"):
            with open(f"{CONTROL}/{setting}", "w") as file:
                file.write(str(LEASE))
        # Who remembers the clients of a server that is started again, and who tells the kernel what they may mount.
        for program in ("nfsdcld", "rpc.mountd"):
            self.at_server(program)
        with open("/etc/exports", "w") as file:
            file.write(f"{self.directory} *(rw,no_root_squash,no_subtree_check,fsid=0)\n")
        self.at_server("exportfs", "-a")
        self.start_threads()


class NfsMounts:
    """In use as a context, which gives the two hosts as cluster_hosts takes them."""

    def __init__(self, server, options):
        self.server = server
        self.options = options
        self.directories = []

    def mount(self, client):
        directory = tempfile.mkdtemp(prefix="stspi-mount-", dir="/mnt")
        # By its name the server knows a client.
        call(*self.server.beside(client, "unshare", "--uts", "sh", "-c", 'hostname "$0" && mount -t nfs4 -o "$1" "$2:/" "$3"', client,
                                 f"vers=4.2{self.options and ',' + self.options}", ADDRESS, directory))
        self.directories.append(directory)
        return directory

    def __enter__(self):
        return [f"{self.server.namespace(client)}:{self.mount(client)}" for client in ("client1", "client2")]

    def __exit__(self, *_):
        for directory in self.directories:
            deadline = time.monotonic() + 30
            while subprocess.run(["umount", directory], check=False).returncode != 0 and time.monotonic() < deadline:
                time.sleep(1)
            os.rmdir(directory)
