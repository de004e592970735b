#!/usr/bin/env python3
"""Hostile clients against a velmora-adserver binary, one fresh server per case.

usage: adserver-hostile.py SERVER_BINARY WWW_DIR [CASE...]

For each case it reports the server's peak memory (VmHWM), the CPU time the
server spent during the case, what the attacker saw, and the slowest answer a
normal client got to an ad request (one every 100 ms) while the case ran.
Every loop is bounded in bytes and seconds; traffic goes to 127.0.0.1 only.
"""
import os
import resource
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time

UNIT = "a1f3c29b07d5e64"
AD = f"/ad?slotname={UNIT}&preqs=1"


def start(binary, www, workdir, extra=(), nofile=None):
    def limit():
        if nofile:
            resource.setrlimit(resource.RLIMIT_NOFILE, (nofile, nofile))
    out = open(os.path.join(workdir, "out"), "w+")
    proc = subprocess.Popen([binary, "--port", "0", "--www", www, "--log", os.path.join(workdir, "requests.jsonl"),
                             *extra], stdout=out, stderr=subprocess.STDOUT, preexec_fn=limit)
    for _ in range(100):
        out.seek(0)
        text = out.read()
        if "listening on" in text:
            port = int(text.split("listening on http://127.0.0.1:")[1].split()[0].rstrip(")"))
            admin = int(text.split("admin: http://127.0.0.1:")[1].split(";")[0])
            return proc, port, admin
        time.sleep(0.1)
    raise RuntimeError("server did not start: " + text)


def cpu_seconds(pid):
    fields = open(f"/proc/{pid}/stat").read().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def peak_kb(pid):
    for line in open(f"/proc/{pid}/status"):
        if line.startswith("VmHWM"):
            return int(line.split()[1])
    return 0


def request(port, raw, timeout=10.0, read_all=True, source=None):
    """Sends raw bytes, returns (status line, total bytes received, seconds)."""
    began = time.monotonic()
    with socket.create_connection(("127.0.0.1", port), timeout=timeout, source_address=source) as s:
        s.sendall(raw)
        data = bytearray()
        try:
            while True:
                chunk = s.recv(65536)
                if not chunk:
                    break
                data += chunk
                if not read_all and b"\r\n\r\n" in data[:65536]:
                    break
        except (socket.timeout, ConnectionResetError):
            pass
    return bytes(data[:200]).split(b"\r\n", 1)[0].decode(errors="replace"), len(data), time.monotonic() - began


class Prober(threading.Thread):
    """A normal client: a fresh connection and one ad request every 100 ms, from an address of its own."""

    def __init__(self, port):
        super().__init__(daemon=True)
        self.port, self.worst, self.failures, self.stop = port, 0.0, 0, threading.Event()

    def run(self):
        while not self.stop.is_set():
            try:
                # The answer's header block is all of it (a redirect with no body).
                status, _, took = request(self.port, f"GET {AD} HTTP/1.1\r\nHost: x\r\n\r\n".encode(), 5, False,
                                          ("127.0.0.2", 0))
                if not status.startswith("HTTP/1.1 302"):
                    self.failures += 1
                self.worst = max(self.worst, took)
            except OSError:
                self.failures += 1
                self.worst = max(self.worst, 5.0)
            self.stop.wait(0.1)


def stream(port, head, filler, limit_bytes, seconds):
    """Sends head then filler until the server hangs up, limit_bytes or seconds; returns (sent, answer)."""
    sent, answer = 0, ""
    deadline = time.monotonic() + seconds
    with socket.create_connection(("127.0.0.1", port), timeout=2) as s:
        try:
            s.sendall(head)
            while sent < limit_bytes and time.monotonic() < deadline:
                s.sendall(filler)
                sent += len(filler)
        except OSError:
            pass
        try:
            s.settimeout(2)
            answer = s.recv(4096).split(b"\r\n", 1)[0].decode(errors="replace")
        except OSError:
            pass
    return f"closed after {sent >> 20} MB sent, answer: {answer or 'none'}"


def case_long_line(port):
    return stream(port, b"GET /", b"a" * 65536, 256 << 20, 20)


def case_long_header(port):
    return stream(port, b"GET / HTTP/1.1\r\nHost: x\r\nX-Long: ", b"a" * 65536, 256 << 20, 20)


def case_long_body(port):
    return stream(port, b"GET / HTTP/1.1\r\nHost: x\r\nContent-Length: 1073741824\r\n\r\n", b"a" * 65536, 256 << 20, 20)


def case_many_params(port):
    query = "&".join(f"k{i}=v" for i in range(100000))
    status, _, took = request(port, f"GET /ad?slotname={UNIT}&{query} HTTP/1.1\r\nHost: x\r\n\r\n".encode(), 30, False)
    return f"{status or 'no answer'} in {took * 1000:.0f} ms"


def big_ads(port):
    """100 ad requests with a 1 MB value each; returns how many were answered."""
    value = "v" * (1 << 20)
    answered = 0
    for i in range(100):
        status, _, _ = request(port, f"GET /ad?slotname={UNIT}&big={value} HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n".encode(), 2)
        answered += status.startswith("HTTP/1.1 302")
    return answered


def case_big_stats(port, admin):
    answered = big_ads(port)
    _, size, took = request(admin, b"GET /stats HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n", 60)
    return f"{answered}/100 answered; /stats {size / 1e3:.1f} kB in {took * 1000:.0f} ms"


def case_near_limit_stats(port, admin):
    """100 ad requests with a 15 KB value each, just inside the request line limit."""
    value = "v" * 15000
    answered = 0
    for i in range(100):
        status, _, _ = request(port, f"GET /ad?slotname={UNIT}&big={value} HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n".encode(), 2)
        answered += status.startswith("HTTP/1.1 302")
    _, size, took = request(admin, b"GET /stats HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n", 60)
    return f"{answered}/100 answered; /stats {size / 1e3:.1f} kB in {took * 1000:.0f} ms"


def case_abandoned_stats(port, admin):
    answered = big_ads(port)
    sockets = []
    for _ in range(20):
        s = socket.create_connection(("127.0.0.1", admin))
        s.sendall(b"GET /stats HTTP/1.1\r\nHost: x\r\n\r\n")
        sockets.append(s)
    time.sleep(8)
    for s in sockets:
        s.close()
    return f"{answered}/100 big ad requests answered, then 20 unread /stats answers held 8 s"


def rss_kb(pid):
    for line in open(f"/proc/{pid}/status"):
        if line.startswith("VmRSS"):
            return int(line.split()[1])
    return 0


def case_unread_stats_1500(port, admin, pid):
    """The recent list filled with requests of 999 parameters, then 1,500 clients that never read /stats."""
    query = "&".join(f"k{i}=" for i in range(997))
    for _ in range(100):
        request(port, f"GET /ad?slotname={UNIT}&preqs=1&{query} HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n".encode(), 5)
    _, size, _ = request(admin, b"GET /stats HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n", 30)
    sockets = []
    for _ in range(1500):
        s = socket.socket()
        s.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
        s.connect(("127.0.0.1", admin))
        s.sendall(b"GET /stats HTTP/1.1\r\nHost: x\r\n\r\n")
        sockets.append(s)
    time.sleep(8)
    held = count_open(sockets)
    for s in sockets:
        s.close()
    time.sleep(2)
    return f"/stats {size / 1e6:.1f} MB; 1,500 unread for 8 s, {held} still open; {rss_kb(pid) / 1024:.0f} MB resident after they left"


def case_one_address(port, pid):
    """One address opens 4,096 connections and sends a request on each."""
    sockets, refused = [], 0
    for _ in range(4096):
        try:
            s = socket.create_connection(("127.0.0.1", port), timeout=2)
            s.sendall(b"GET /healthz HTTP/1.1\r\nHost: x\r\n\r\n")
            sockets.append(s)
        except OSError:
            refused += 1
    time.sleep(5)
    held = count_open(sockets)
    for s in sockets:
        s.close()
    return f"{held} of 4,096 held open after 5 s ({refused} refused at connect)"


def case_fd_limit(port):
    sockets, refused = [], 0
    for _ in range(400):
        try:
            sockets.append(socket.create_connection(("127.0.0.1", port), timeout=1))
        except OSError:
            refused += 1
    time.sleep(5)
    for s in sockets:
        s.close()
    return f"400 idle connections against 256 descriptors held 5 s ({refused} refused)"


def count_open(sockets):
    alive = 0
    for s in sockets:
        try:
            s.setblocking(False)
            if s.recv(4096, socket.MSG_PEEK) != b"":
                alive += 1
        except BlockingIOError:
            alive += 1
        except OSError:
            pass
    return alive


def case_slow_and_idle(port):
    slow, idle = [], []
    for _ in range(100):
        s = socket.create_connection(("127.0.0.1", port))
        s.sendall(b"GET /healthz HTTP/1.1\r\n")
        slow.append(s)
        s = socket.create_connection(("127.0.0.1", port))
        s.sendall(b"GET /healthz HTTP/1.1\r\nHost: x\r\n\r\n")
        s.recv(65536)
        idle.append(s)
    for _ in range(12):  # a header line a second keeps a slow client busy
        for s in slow:
            try:
                s.sendall(b"X-Slow: 1\r\n")
            except OSError:
                pass
        time.sleep(1)
    slow_open = count_open(slow)
    time.sleep(21)
    return f"after 12 s: {slow_open}/100 half-sent open; after 33 s: {count_open(idle)}/100 idle keep-alive open"


def case_protocol(port):
    rows = []
    for name, raw in [("Connection: close", b"GET /healthz HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n"),
                      ("HTTP/1.0", b"GET /healthz HTTP/1.0\r\n\r\n"),
                      ("HTTP/9.9", b"GET /healthz HTTP/9.9\r\nHost: x\r\n\r\n"),
                      ("no Host", b"GET /healthz HTTP/1.1\r\n\r\n"),
                      ("two Hosts", b"GET /healthz HTTP/1.1\r\nHost: x\r\nHost: y\r\n\r\n"),
                      ("malformed header", b"GET /healthz HTTP/1.1\r\nHost: x\r\nBad Header\r\n\r\n")]:
        status, _, took = request(port, raw, 3)
        rows.append(f"{name}: {status.split(' ', 1)[-1] or 'no answer'}{', closed' if took < 2.5 else ', kept open'}")
    return "; ".join(rows)


CASES = {
    "long-line": case_long_line, "long-header": case_long_header, "long-body": case_long_body,
    "many-params": case_many_params, "big-stats": case_big_stats, "near-limit-stats": case_near_limit_stats, "abandoned-stats": case_abandoned_stats,
    "fd-limit": case_fd_limit, "slow-and-idle": case_slow_and_idle, "protocol": case_protocol,
    "unread-stats-1500": case_unread_stats_1500, "one-address": case_one_address,
}
# Cases that also look at the server process, and those that read its admin listener.
WITH_PID = {"unread-stats-1500", "one-address"}
WITH_ADMIN = {"big-stats", "near-limit-stats", "abandoned-stats", "unread-stats-1500"}


def main():
    binary, www, *names = sys.argv[1:]
    # Room for thousands of client sockets of our own.
    soft, hard = resource.getrlimit(resource.RLIMIT_NOFILE)
    resource.setrlimit(resource.RLIMIT_NOFILE, (hard, hard))
    print("| case | attacker saw | server peak RSS | server CPU | normal ad request, slowest (failures) |")
    print("|---|---|---|---|---|")
    for name in names or CASES:
        with tempfile.TemporaryDirectory() as workdir:
            proc, port, admin = start(binary, www, workdir, nofile=256 if name == "fd-limit" else None)
            try:
                cpu_before = cpu_seconds(proc.pid)
                prober = Prober(port)
                prober.start()
                try:
                    arguments = (port, admin) if name in WITH_ADMIN else (port,)
                    seen = CASES[name](*arguments, *((proc.pid,) if name in WITH_PID else ()))
                except OSError as error:
                    seen = f"client error: {error}"
                prober.stop.set()
                prober.join()
                alive = proc.poll() is None
                usage = f"{peak_kb(proc.pid) / 1024:.0f} MB" if alive else "died"
                cpu = f"{cpu_seconds(proc.pid) - cpu_before:.2f} s" if alive else "-"
                print(f"| {name} | {seen} | {usage} | {cpu} | {prober.worst * 1000:.0f} ms ({prober.failures}) |", flush=True)
            finally:
                if proc.poll() is None:
                    proc.send_signal(signal.SIGTERM)
                    try:
                        proc.wait(10)
                    except subprocess.TimeoutExpired:
                        proc.kill()


if __name__ == "__main__":
    main()
