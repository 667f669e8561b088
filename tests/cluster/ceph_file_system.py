"""CephFS on a small cluster, mounted by FUSE for each of the two clients: a directory that two hosts share."""
import os
import subprocess
import tempfile
import time


class CephFileSystem:
    """In use as a context, which gives the two mounts; what is in it stays in the cluster."""

    def __init__(self, cluster):
        self.cluster = cluster
        self.mounts = {}  # directory -> process

    server = "mds.a"

    def run_server(self):
        self.cluster.start_daemon(self.server, 1, "ceph-mds", "-i", "a")

    def is_active(self):
        return "up:active" in self.cluster.ceph("mds", "stat")

    def start_server(self):
        if self.server in self.cluster.daemons:
            return
        os.mkdir(f"{self.cluster.directory}/mds.a")
        for pool in ("files-names", "files-data"):
            self.cluster.ceph("osd", "pool", "create", pool, "8")
        self.cluster.ceph("fs", "new", "files", "files-names", "files-data")
        self.run_server()
        self.cluster.wait_for("the file system's server", self.is_active)

    def mount(self, client):
        directory = tempfile.mkdtemp(prefix="mount-", dir=self.cluster.directory)
        process = subprocess.Popen(self.cluster.beside(client, "ceph-fuse", "-c", self.cluster.configuration, "-f", directory),
                                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.mounts[directory] = process
        deadline = time.monotonic() + 60
        while not os.path.ismount(directory):
            if process.poll() is not None or time.monotonic() > deadline:
                raise RuntimeError(f"{directory} is not mounted")
            time.sleep(0.2)
        return directory

    def __enter__(self):
        try:
            self.start_server()
            return [self.mount("client1"), self.mount("client2")]
        except BaseException:
            self.unmount()
            raise

    def unmount(self):
        for directory, process in self.mounts.items():
            subprocess.run(["umount", directory], check=False)
            try:
                process.wait(20)
            except subprocess.TimeoutExpired:
                process.kill()
                subprocess.run(["umount", "--lazy", directory], check=False)
                process.wait()
        self.mounts.clear()

    def __exit__(self, *_):
        self.unmount()
