"""What people try first: rates as fractions, missing pictures."""

from cases_write import jpegs
from kravi_runner import check, equal, exit_code


def test_rates_as_fractions(kravi):
    jpegs(kravi, 3)
    for text, code in (("30000/1001", 3), ("24000/1001", 0), ("25/1", 2), ("50/2", 2)):
        exit_code(kravi("write", "out.avi", "--jpeg", "f%03d.jpg", "--rate", text, "--force"), 0)
        equal(kravi("info", "out.avi", "--json").json()["video"]["frameRate"]["code"], code, text)
    for wrong in ("30000/1000.5", "30000/", "/1001", "15/1", "0/0", "25/0"):
        check("--rate: " in exit_code(kravi("write", "out.avi", "--jpeg", "f%03d.jpg", "--rate", wrong, "--force"), 2).err, wrong)


def test_missing_picture_in_a_sequence(kravi):
    jpegs(kravi, 6)
    kravi.remove("f002.jpg")
    result = exit_code(kravi("write", "out.avi", "--jpeg", "f%03d.jpg"), 2)
    equal(result.err, "kravi: f002.jpg: this picture is missing; the next one is f003.jpg\n", "message")
    check("out.avi" not in kravi.names(), "a file")
    exit_code(kravi("write", "out.avi", "--jpeg", "f%03d.jpg", "--start", "3"), 0)
    kravi.write("f0007.jpg", b"of another pattern")
    exit_code(kravi("write", "out.avi", "--jpeg", "f%03d.jpg", "--start", "3", "--force"), 0)
    kravi.write("f1000.jpg", b"of this one")
    check("f1000.jpg" in exit_code(kravi("write", "out.avi", "--jpeg", "f%03d.jpg", "--start", "3", "--force"), 2).err, "far away")
    equal(exit_code(kravi("write", "raw.avi", "--raw", "f%03d.jpg", "--size", "4x4"), 2).err.count("missing"), 1, "raw pictures")
