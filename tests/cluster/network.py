"""Machines on this one: each a network namespace of its own, joined by a bridge. Needs root."""
import os
import subprocess

from processes import call


class Network:
    """The ends are named; remove() takes all of them away."""

    def __init__(self):
        self.tag = f"stspi{os.getpid()}"
        self.namespaces = []

    def namespace(self, end):
        return f"{self.tag}-{end}"

    def within(self, end, *command):
        return ("ip", "netns", "exec", self.namespace(end), *command)

    def beside(self, end, *command):
        """For what mounts: the mounts of `within` are hidden from everybody else."""
        return ("nsenter", f"--net=/run/netns/{self.namespace(end)}", *command)

    def add_namespace(self, end):
        call("ip", "netns", "add", self.namespace(end))
        self.namespaces.append(end)
        self.ip(end, "link", "set", "lo", "up")

    def connect(self, end, address):
        """Gives an end its namespace, and a link to the switch."""
        self.add_namespace(end)
        self.ip("switch", "link", "add", end, "type", "veth", "peer", "name", "eth0", "netns", self.namespace(end))
        self.ip("switch", "link", "set", end, "master", "bridge0", "up")
        self.ip(end, "address", "add", f"{address}/24", "dev", "eth0")
        self.ip(end, "link", "set", "eth0", "up")

    def ip(self, end, *arguments):
        call("ip", "-n", self.namespace(end), *arguments)

    def set_link(self, end, state):
        """Cuts an end off ("down") or joins it again ("up")."""
        self.ip("switch", "link", "set", end, state)

    def add_switch(self):
        self.add_namespace("switch")
        self.ip("switch", "link", "add", "bridge0", "type", "bridge")
        self.ip("switch", "link", "set", "bridge0", "up")

    def remove(self):
        for end in self.namespaces:
            subprocess.run(["ip", "netns", "delete", self.namespace(end)], check=False)
