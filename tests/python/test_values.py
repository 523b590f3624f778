# Typed values through the binding: every type written, read back as its
# class, written again and read again to the same bits; and the rules for
# plain Python values.
import pytest
import tarnhive

# One value of every type, with the edges that plain conversions lose: the
# integer limits, NaN bits, -0, a string that is not valid UTF-16 and a
# narrow string that is not UTF-8.
SAMPLES = """
T = tarnhive
SAMPLES = {
    "bool": True, "int8": T.Int8(-128), "uint8": T.UInt8(255), "int16": T.Int16(-32768),
    "uint16": T.UInt16(65535), "int32": T.Int32(-2**31), "uint32": T.UInt32(2**32 - 1),
    "int64": T.Int64(-2**63), "uint64": T.UInt64(2**64 - 1),
    "float32": T.Float32.from_bits(0x7f800001), "float32zero": T.Float32(-0.0),
    "float64": struct.unpack("<d", struct.pack("<Q", 0xfff8000000000001))[0], "float64zero": -0.0,
    "string": "h\\ud800llo \\U0001f600", "narrow": T.Narrow(b"\\xff\\xfeok"), "binary": b"\\x00\\x01",
    "digest": T.Digest(bytes(range(32))),
    "bool-array": T.Array("bool", [True, False]), "int8-array": T.Array("int8", [-1, 127]),
    "uint8-array": T.Array("uint8", [0, 255]), "int16-array": T.Array("int16[]", []),
    "uint16-array": T.Array("uint16", [7]), "int32-array": T.Array("int32", [-5]),
    "uint32-array": T.Array("uint32", [2**32 - 1]), "int64-array": T.Array("int64", [2**63 - 1]),
    "uint64-array": T.Array("uint64-array", [2**64 - 1]),
    "float32-array": T.Array("float32", [0.1, T.Float32.from_bits(0xffc00001)]),
    "float64-array": T.Array("float64", [1e300, float("-inf"), -0.0]),
    "string-array": T.Array("string", ["a", "\\udc00"]), "narrow-array": T.Array("narrow", [b"\\x80"]),
}

def bits(value):
    if isinstance(value, list):
        return [type(value).__name__, value.type] + [bits(item) for item in value]
    if isinstance(value, tarnhive.Float32):
        return ["Float32", value.bits]
    if isinstance(value, float):
        return [type(value).__name__, struct.pack("<d", value)]
    return [type(value).__name__, value]
"""


def test_every_type_round_trips_exactly(child):
    child.run(SAMPLES + """
    reg = tarnhive.open(REG)
    with reg.update() as u:
        for name, value in SAMPLES.items():
            u.set("/All", name, value)
    first = reg.get("/All")
    with reg.update() as u:
        for name, value in first.items():
            u.set("/Copy", name, value)
    copy = reg.get("/Copy")
    assert sorted(first) == sorted(SAMPLES)
    for name, value in SAMPLES.items():
        assert bits(copy[name]) == bits(first[name]), name
        assert first[name] == value or math.isnan(value) or name.startswith("float32-"), name
        expected = "bool" if name == "bool" else name.replace("zero", "")
        assert type(first[name]) is bool or first[name].type == expected, name
    assert first["float32"].bits == 0x7f800001 and first["float32-array"][1].bits == 0xffc00001
    assert struct.pack("<d", first["float64"]) == struct.pack("<Q", 0xfff8000000000001)
    assert math.copysign(1, first["float64zero"]) == -1 and first["float32zero"].bits == 0x80000000
    assert first["string"] == "h\\ud800llo \\U0001f600" and first["narrow"] == b"\\xff\\xfeok"
    """)


def test_plain_values_take_natural_types_and_ranges_are_checked(child):
    child.run("""
    reg = tarnhive.open(REG)
    with reg.update() as u:
        u.set("/P", "i", 5)
        u.set("/P", "small", tarnhive.Int8(1))
        u.set("/P", "f", 1.5)
        u.set("/P", "s", "text")
        u.set("/P", "b", b"raw")
        u.set("/P", "t", True)
        u.set("/P", "list", [1, 2])
        u.set("/P", "shorts", tarnhive.Array("int16", [1]))
        u.set("/P", "names", ["x", "y"])
    with reg.update() as u:
        u.set("/P", "small", 100)
        u.set("/P", "shorts", [3, 4])
        u.set("/P", "shorts", [])
    types = {name: getattr(value, "type", "bool") for name, value in reg.get("/P").items()}
    assert types == {"i": "int64", "small": "int8", "f": "float64", "s": "string", "b": "binary",
                     "t": "bool", "list": "int64-array", "shorts": "int16-array",
                     "names": "string-array"}, types

    # A number out of the value's type stops the update before anything is written.
    try:
        with reg.update() as u:
            u.set("/P", "i", 6)
            u.set("/P", "small", 300)
        raise AssertionError("no ValueError")
    except ValueError as error:
        assert "int8" in str(error), error
    assert reg.get("/P")["i"] == 5 and reg.get("/P")["small"] == 100
    with reg.update() as u:
        grown = tarnhive.Array("int8", [1])
        grown.append(2.5)
        for wrong, error in (([], ValueError), ([1, "x"], TypeError), (None, TypeError),
                             (grown, TypeError)):
            try:
                u.set("/P", "new", wrong)
                raise AssertionError(f"{wrong!r} was stored")
            except error:
                pass
    """)


@pytest.mark.parametrize("expression, error", [
    ("Int8(128)", ValueError), ("UInt64(-1)", ValueError), ("Float32(1e39)", ValueError),
    ("Digest(b'x')", ValueError), ("Array('int8', [128])", ValueError),
    ("Array('complex', [])", ValueError), ("Array('int64', ['1'])", TypeError),
    ("Array('string', [1])", TypeError)])
def test_constructors_refuse_what_their_type_cannot_hold(expression, error):
    with pytest.raises(error):
        eval(expression, vars(tarnhive))
