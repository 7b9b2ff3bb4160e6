"""The endpoint for players, nginx and PHP with the files of docs/endpoint, as processes of whoever runs this."""

import os
import pwd
import signal
import socket
import subprocess
from pathlib import Path

from .waiting import LabFailure, wait_until

DOCUMENTS = Path(__file__).resolve().parents[1] / "docs" / "endpoint"
TEMPORARY = "".join(f"{kind}_temp_path /srv/vandrel/temporary;\n"
                    for kind in ("client_body", "proxy", "fastcgi", "uwsgi", "scgi"))


class WebServer:
    """Serves the tree `work`/tree on `port`, a free one of 127.0.0.1, from its construction until stop(). The folder
    `work` is there already and stays, with the log of requests in access.log. It differs from one that is set up by
    the documents in its paths, its port, its user, and in `changes`, texts of nginx.conf each with what stands in their
    place. Raises LabFailure, with what the servers say, if they don't come to serving."""

    def __init__(self, work, certificate, key, changes=()):
        self._work, self._processes = Path(work).resolve(), []
        user = pwd.getpwuid(os.getuid()).pw_name
        places = [("www-data", user), ("/run/php", self._work), ("/srv/vandrel", self._work)]
        self._install("updater.php", [])
        self._install("php-fpm.conf", [("group = www-data\n", ""), *places[:2]])
        listener = socket.create_server(("127.0.0.1", 0), backlog=4096)
        self.port = listener.getsockname()[1]
        self._install("nginx.conf", [
            ("[::]:443 ssl ipv6only=off", f"127.0.0.1:{self.port} ssl"), ("http {", "http {\n" + TEMPORARY),
            ("/srv/vandrel/tls/server.pem", f'"{certificate}"'), ("/srv/vandrel/tls/server.key", f'"{key}"'),
            ("pid /run", f"pid {self._work}"), ("/var/log/nginx", self._work), *changes, *places])
        self._start(listener)

    def _install(self, name, changes):
        text = (DOCUMENTS / name).read_text()
        for before, after in changes:
            if before not in text:
                raise LabFailure(f"{name} has no {before!r}")
            text = text.replace(before, str(after))
        (self._work / name).write_text(text)

    def _start(self, listener):
        (self._work / "fpm.conf").write_text(f"[global]\nerror_log = {self._work}/php.log\n"
                                             f"include = {self._work}/php-fpm.conf\n")
        self._run("php-fpm8.2", "--nodaemonize", "--fpm-config", self._work / "fpm.conf", "--allow-to-run-as-root")
        # nginx takes over a listening socket of its address from a predecessor that names it so: no port is lost
        # between its choice and its use, and who connects from now on waits.
        self._run("nginx", "-c", self._work / "nginx.conf", "-e", self._work / "error.log", "-g", "daemon off;",
                  pass_fds=[listener.fileno()], env={**os.environ, "NGINX": f"{listener.fileno()};"})
        listener.close()
        socket_of_php, pid_file = self._work / "vandrel.sock", self._work / "nginx.pid"
        try:
            wait_until(lambda: self._has_ended() or (socket_of_php.exists() and pid_file.exists()), "the web server")
            if self._has_ended():
                raise LabFailure("the web server doesn't start: " + self.complaints())
        except LabFailure:
            self.stop()
            raise

    def _run(self, program, *arguments, **options):
        self._processes.append(subprocess.Popen([f"/usr/sbin/{program}", *arguments], stdin=subprocess.DEVNULL,
                                                stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                                start_new_session=True, **options))

    def _has_ended(self):
        return any(process.poll() is not None for process in self._processes)

    @property
    def pids(self):
        """The process numbers of PHP's master and of nginx's."""
        return [process.pid for process in self._processes]

    def complaints(self):
        """What the two have written into their logs of errors."""
        logs = (self._work / name for name in ("php.log", "error.log"))
        return "\n".join(log.read_text() for log in logs if log.exists())

    def stop(self):
        for process in self._processes:
            process.terminate()
        for process in self._processes:
            try:
                process.wait(5)
            except subprocess.TimeoutExpired:
                os.killpg(process.pid, signal.SIGKILL)
                process.wait()
        self._processes = []
