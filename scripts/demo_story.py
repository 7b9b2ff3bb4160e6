"""The demo's story; scripts/demo builds what it needs and starts it."""

import argparse
import shutil
import signal
import sys
import tempfile
import threading
import time
from pathlib import Path

from demo_stage import (PLAYERS_OWN, Endpoint, LabFailure, Player, check, contents_of_releases, figures, say,
                        story)
from lab.interruption import kill_during_install

# The client's exit codes (sample_client/exit_codes.h).
HANDED_OVER, CURRENT = 0, 10


def prepare(player, endpoint, releases, install_root):
    story.stage("Release 1 stands in the client's folder; release 2 is published and served", player.folder.path)
    player.folder.write({**releases[1], **PLAYERS_OWN})
    for number in (1, 2):
        endpoint.publish(number, releases[number])
    endpoint.start()
    player.prefix.trust(endpoint.authority, install_root)
    player.expect_files(releases[1], "release 1")


def update(player, releases):
    story.stage("The player starts the client: an update from release 1 to release 2", player.folder.path)
    code, job = player.play("--answer=apply")
    check(code == HANDED_OVER, f"the client ended with {code}")
    check(job.status()["detail"] == "Atualizacao instalada.", f"the last state is {job.status()}")
    figures["updates"] += 1
    player.expect_files(releases[2], "release 2")
    check(player.folder.store() == [], f"the store holds {player.folder.store()}")
    player.expect_restart(job, "-")


def interrupted_update(player, endpoint, releases):
    story.stage("Release 3 is published; its installation is killed half way", player.folder.path)
    endpoint.publish(3, releases[3])
    killing = []

    def at_handoff(job):
        killing.append(threading.Thread(target=lambda: killing.append(attempt(kill_during_install, job, 20))))
        killing[0].start()

    code, job = player.play("--answer=apply", "--linger=1000", at_handoff=at_handoff)
    check(code == HANDED_OVER and killing, f"the client ended with {code}")
    killing[0].join()
    check(killing[1] is None, killing[1])
    figures["kills"] += 1
    say("   the helper is dead: SIGKILL, in the middle of the installation")
    player.expect_half_way(releases[2], releases[3], job)
    time.sleep(1.5)  # Wine lets a dead process be opened for a moment


def attempt(action, *arguments):
    """Runs an action in a thread's stead: gives its exception, or None."""
    try:
        action(*arguments)
    except Exception as error:  # noqa: BLE001
        return error
    return None


def restoration(player, endpoint, releases):
    story.stage("The server is switched off, and the player starts the client: the restoration needs none",
                player.folder.path)
    endpoint.stop()
    code, job = player.play("--answer=apply")
    check(code == HANDED_OVER, f"the client ended with {code}")
    expected = "Versao anterior restaurada. Tente atualizar novamente quando desejar."
    check(job.status()["detail"] == expected, f"the last state is {job.status()}")
    figures["restorations"] += 1
    player.expect_files(releases[2], "release 2")
    check(player.folder.store() == [], f"the store holds {player.folder.store()}")
    player.expect_restart(job, "--vandrel-update-recovered")


def second_try(player, endpoint, releases):
    story.stage("The server is back, and the update is offered again", player.folder.path)
    endpoint.start()
    code, job = player.play("--answer=apply")
    check(code == HANDED_OVER, f"the client ended with {code}")
    check(job.status()["detail"] == "Atualizacao instalada.", f"the last state is {job.status()}")
    figures["updates"] += 1
    player.expect_files(releases[3], "release 3")
    player.expect_restart(job, "-")


def last_check(player, releases):
    story.stage("A last check: nothing to do", player.folder.path)
    code, job = player.play("--answer=apply", "--wait-ended")
    check(code == CURRENT and job.status()["detail"] == "Cliente atualizado.", f"the client ended with {code}")
    player.expect_files(releases[3], "release 3")


def play(options, work):
    releases = contents_of_releases(options.windows_build)
    endpoint = Endpoint(work, options.release_tool, options.key, options.port)
    player = Player(work)
    try:
        say("== A fresh Wine prefix")
        player.start()
        prepare(player, endpoint, releases, options.windows_build / "install_root.exe")
        update(player, releases)
        interrupted_update(player, endpoint, releases)
        restoration(player, endpoint, releases)
        second_try(player, endpoint, releases)
        last_check(player, releases)
        story.end_stage(player.folder.path)
    finally:
        endpoint.stop()
        player.stop(options.keep)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--windows-build", type=Path, required=True)
    parser.add_argument("--release-tool", type=Path, required=True)
    parser.add_argument("--key", type=Path, required=True)
    parser.add_argument("--port", type=int, required=True)
    for switch in ("--keep", "--verbose", "--pause"):
        parser.add_argument(switch, action="store_true")
    options = parser.parse_args()
    story.verbose, story.pause = options.verbose, options.pause
    for number in (signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, lambda *_: sys.exit(1))
    begin = time.monotonic()
    work = Path(tempfile.mkdtemp(prefix="vandrel-demo-"))
    try:
        play(options, work)
    except LabFailure as failure:
        say(f"FAILED: {failure}")
        sys.exit(1)
    except KeyboardInterrupt:
        sys.exit(130)
    finally:
        if options.keep:
            say(f"kept: {work}")
        else:
            shutil.rmtree(work, ignore_errors=True)
    told = "; ".join(f"{name}: {figures[name]}" for name in (
        "starts by the player", "starts by the helper", "updates", "kills", "restorations", "files checked by SHA-256"))
    say(f"== All held in {time.monotonic() - begin:.0f} s. {told[0].upper() + told[1:]}")


if __name__ == "__main__":
    main()
