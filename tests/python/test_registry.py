# The registry through the binding: reads, updates that commit or roll back,
# other processes, errors as exceptions, and export and import in the tool's
# format.
import os
import subprocess
import sys


def test_update_commits_rolls_back_and_reads_the_tree(child):
    child.run("""
    reg = tarnhive.open(REG)
    assert tarnhive.open(REG) is reg and reg.get("/Acme") is None and "/Acme" not in reg
    with reg.update() as u:
        u.set("/Acme/Editor", "Zoom", tarnhive.Float32(1.25))
        u.set("/Acme/Editor", "width", 800)
        u.set("/Acme/Old/Deep", "x", 1)
    assert "/acme/editor" in reg and reg.get("/ACME/editor")["zoom"] == 1.25
    assert reg.get("/Acme/Editor").path == "/Acme/Editor"
    assert reg.children("/Acme") == ["/Acme/Editor", "/Acme/Old"]
    assert [b.path for b in reg.walk("/Acme")] == ["/Acme", "/Acme/Editor", "/Acme/Old",
                                                   "/Acme/Old/Deep"]

    # An exception discards every change and releases the lock.
    try:
        with reg.update() as u:
            u.set("/Acme/Editor", "width", 1024)
            u.delete("/Acme/Old")
            raise RuntimeError("stop")
    except RuntimeError:
        pass
    assert reg.get("/Acme/Editor")["width"] == 800 and "/Acme/Old/Deep" in reg

    with reg.update(timeout=5) as u:
        u.delete("/Acme/Old")
        u.delete("/Acme/Editor", "width")
        u.set("/Acme/Old", "again", 2)
    assert dict(reg.get("/Acme/Old")) == {"again": 2} and "/Acme/Old/Deep" not in reg
    assert list(reg.get("/Acme/Editor")) == ["Zoom"]
    """)


def test_errors_raise_the_exceptions_of_their_codes(child):
    child.run("""
    reg = tarnhive.open(REG)
    def fails(expected, action):
        try:
            action()
        except expected as error:
            return error
        raise AssertionError(f"no {expected.__name__}")

    missing = fails(KeyError, lambda: reg.children("/Nope"))
    assert isinstance(missing, tarnhive.NotFound)
    assert (missing.code, missing.name) == (314501, "kWBUCKETNOTFOUND") and "/Nope" in str(missing)
    fails(tarnhive.NotFound, lambda: list(reg.walk("/Nope")))
    other = fails(tarnhive.Error, lambda: tarnhive.open(REG + "-other"))
    assert other.name == "kINTERNALERROR" and REG in str(other)
    with reg.update() as u:
        fails(tarnhive.NotFound, lambda: u.delete("/Nope"))
        fails(tarnhive.NotFound, lambda: u.delete("/", "nope"))
        assert fails(tarnhive.Error, lambda: u.delete("/")).name == "kROOTBUCKET"
        assert fails(tarnhive.Error, lambda: u.set("/A", "", 1)).name == "kEMPTYVALUENAME"
        assert fails(tarnhive.Error, lambda: reg.update().__enter__()).name == "kUPDATEACTIVE"
    assert "/A" not in reg
    assert fails(tarnhive.Error, lambda: u.set("/A", "x", 1)).name == "kNOUPDATE"
    """)


def test_another_process_waits_for_the_lock_and_sees_the_commit(child):
    # Both open the registry first: opening waits for the registry lock.
    holder = child.start("""
    reg = tarnhive.open(REG)
    print("open", flush=True)
    sys.stdin.readline()
    with reg.update() as u:
        u.set("/Shared", "n", 1)
        print("holding", flush=True)
        sys.stdin.readline()
    """)
    other = child.start("""
    reg = tarnhive.open(REG)
    print("open", flush=True)
    sys.stdin.readline()
    try:
        with reg.update(timeout=0.2) as u:
            u.set("/Shared", "n", 2)
    except tarnhive.LockTimeout as error:
        assert isinstance(error, TimeoutError) and error.code is None, error
        print("timed out", flush=True)
    sys.stdin.readline()
    print(reg.get("/Shared")["n"], flush=True)
    """)

    def step(process, answer):
        process.stdin.write("go\n")
        process.stdin.flush()
        assert process.stdout.readline() == answer

    try:
        assert holder.stdout.readline() == other.stdout.readline() == "open\n"
        step(holder, "holding\n")
        step(other, "timed out\n")
        step(holder, "")
        step(other, "1\n")
    finally:
        for process in (holder, other):
            process.stdin.close()
            assert process.wait(60) == 0


def test_export_is_the_tools_and_import_applies_it(child):
    exported = child.run("""
    reg = tarnhive.open(REG)
    with reg.update() as u:
        u.set("/Acme/Editor", "zoom", tarnhive.Float32(1.25))
        u.set("/Acme/Editor", "odd", "\\udc00")
        u.set("/Acme/Gone", "x", tarnhive.Narrow(b"\\xff"))
    print(reg.export("/Acme"), end="")
    """).stdout
    assert exported == child.tool("export", "/Acme").stdout

    child.run(f"""
    reg = tarnhive.open(REG)
    document = {exported!r}
    with reg.update() as u:
        u.set("/Acme/Editor", "zoom", 2.0)
        u.set("/Acme/Extra", "y", 1)
        u.set("/Other", "y", 1)
    for bad in ("{{", '{{"format": "other"}}', document.replace('"float32"', '"float33"'),
                '{{"format": "tarnhive", "version": 1e999}}'):
        try:
            reg.import_(bad)
            raise AssertionError("imported " + bad)
        except ValueError:
            pass
    assert reg.get("/Acme/Editor")["zoom"] == 2.0
    reg.import_(document.encode())
    assert reg.get("/Acme/Editor")["zoom"] == 1.25 and "/Acme/Extra" in reg
    reg.import_(document, replace=True)
    assert reg.export("/Acme") == document
    reg.import_(document, replace=True, path="/")
    assert reg.children("/") == ["/Acme"] and reg.get("/Acme/Gone")["x"] == b"\\xff"
    """, registry="other")


def test_a_damaged_registry_raises(child):
    child.run("""
    reg = tarnhive.open(REG)
    for n in range(3):
        with reg.update() as u:
            u.set("/Data", f"v{n}", "x" * 200)
    """)
    registry = child.directory / "reg" / "registry.bin"
    data = bytearray(registry.read_bytes())
    for at in range(len(data) // 3, len(data) * 2 // 3):
        data[at] ^= 0x55
    registry.write_bytes(bytes(data))
    result = child.run("""
    try:
        reg = tarnhive.open(REG)
        reg.get("/Data")
    except tarnhive.Error as error:
        print(type(error).__name__, error.name)
    """)
    assert result.stdout.split() == ["Damaged", "kSTOREDAMAGED"], result.stdout


def test_cmake_install_puts_a_working_package_into_the_prefix(child, tmp_path):
    prefix = tmp_path / "prefix"
    subprocess.run(["cmake", "--install", os.environ["TARNHIVE_BUILD_DIR"], "--prefix", str(prefix)],
                   check=True, capture_output=True)
    site = prefix / os.environ["TARNHIVE_PYTHON_INSTALL_DIR"]
    assert (site / "tarnhive" / "__init__.py").exists() and (site / "tarnhive" / "py.typed").exists()
    env = dict(child.env, PYTHONPATH=str(site))
    env.pop("LD_LIBRARY_PATH", None)
    code = child.script("""
    assert tarnhive.__file__.startswith(sys.argv[1])
    with tarnhive.open(REG).update() as u:
        u.set("/Installed", "ok", True)
    """, "reg")
    subprocess.run([sys.executable, "-c", code, str(site)], env=env, check=True, timeout=120)
