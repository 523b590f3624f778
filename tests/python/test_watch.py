# Following the registry with reg.watch: the commits of another process,
# once each and in order, restricted to a subtree; the timeout and Ctrl-C
# ending the wait. (The library's tests cover commits folded by a compaction.)
import json
import signal
import time


def watched(child, commits):
    """The changes (as tuples) that a watcher of /Acme, started first, gets
    from `commits`. It iterates only after `commits` ran, so it reads
    nothing before then, and stops a second after the last change."""
    watcher = child.start("""
    changes = tarnhive.open(REG).watch("acme/", timeout=1)
    print("watching", flush=True)
    sys.stdin.readline()
    for change in changes:
        print(json.dumps(change), flush=True)
    """)
    try:
        assert watcher.stdout.readline() == "watching\n"
        commits()
        watcher.stdin.write("go\n")
        watcher.stdin.flush()
        return [tuple(json.loads(line)) for line in watcher.stdout]
    finally:
        watcher.stdin.close()
        assert watcher.wait(60) == 0


def test_watch_gets_each_commit_of_the_subtree_once_and_in_order(child):
    child.run("""
    with tarnhive.open(REG).update() as u:
        u.set("/Acme/Before", "x", 1)
    """)
    changes = watched(child, lambda: child.run("""
    reg = tarnhive.open(REG)
    with reg.update() as u:
        u.set("/Acme/Editor", "x", 1)
        u.set("/Acme/Editor/Fonts", "y", 2)
    with reg.update() as u:
        u.set("/AcmeTools", "x", 1)   # shares the prefix, lies outside
        u.set("/Other", "x", 1)
    with reg.update() as u:
        u.delete("/Acme/Editor")
    """))
    first = changes[0][0]
    assert changes == [
        (first, "/Acme", True, False),
        (first, "/Acme/Editor", True, False),
        (first, "/Acme/Editor/Fonts", True, False),
        # The commit outside the subtree keeps its number.
        (first + 2, "/Acme", True, False),
        (first + 2, "/Acme/Editor", False, False),
        (first + 2, "/Acme/Editor/Fonts", False, False),
    ]


def test_the_timeout_ends_the_watch_and_the_feed_starts_when_watch_is_called(child):
    child.run("""
    import time
    reg = tarnhive.open(REG)
    started = time.monotonic()
    assert list(reg.watch("/Acme", timeout=0.5)) == []
    assert 0.45 < time.monotonic() - started < 5

    # A commit of this process made after watch() but before the iteration
    # starts is seen; the one before watch() is not.
    with reg.update() as u:
        u.set("/Acme/Old", "x", 1)
    changes = reg.watch("/Acme", timeout=0.5)
    with reg.update() as u:
        u.set("/Acme/New", "x", 1)
    assert [c.bucket for c in changes] == ["/Acme", "/Acme/New"]
    """)


def test_ctrl_c_stops_a_watch_that_waits_for_ever(child):
    watcher = child.start("""
    import signal
    signal.signal(signal.SIGINT, signal.default_int_handler)  # a background shell ignores it
    reg = tarnhive.open(REG)
    print("watching", flush=True)
    try:
        for change in reg.watch("/Acme"):
            pass
    except KeyboardInterrupt:
        print("interrupted", flush=True)
    """)
    try:
        assert watcher.stdout.readline() == "watching\n"
        time.sleep(0.5)
        watcher.send_signal(signal.SIGINT)
        assert watcher.wait(5) == 0
        assert watcher.stdout.read() == "interrupted\n"
    finally:
        watcher.kill()
        watcher.wait()
