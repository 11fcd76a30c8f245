"""Recordings hold what a host did, as it was asked and answered."""

import json
import os
import pathlib
import struct
import subprocess
import sys
import tempfile
import time
import unittest
import unittest.mock

from support import HOST, MOTIONS, ROOT, np

import korvel
from korvel import _recording

LIBRARIES = pathlib.Path(os.environ["KORVEL_LIBRARY_PATH"])
RECORDER = LIBRARIES / "libkorvel_record.so"
if not RECORDER.exists():
    print("skipped: there is no recorder")
    sys.exit(77)


def recording_to(folder):
    return {**os.environ, "KORVEL_RECORD_TO": str(folder), "KORVEL_RECORD_MODULE": str(LIBRARIES / "libkorvel.so")}


class Recordings(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.folder = pathlib.Path(folder.name)
        cls.path = cls.folder / "short.csv"
        cls.path.write_text("".join((MOTIONS / "squat.csv").read_text().splitlines(keepends=True)[:40]))
        subprocess.run([HOST, "run", cls.path, "--air", "-o", cls.folder / "results.csv", "--module", RECORDER], check=True,
                       env=recording_to(cls.folder), capture_output=True)
        cls.file, = cls.folder.glob("*.rec")
        cls.recording = korvel.Recording(cls.file)
        cls.motion = korvel.Motion.read(cls.path)

    def test_it_says_what_was_recorded(self):
        recording = self.recording
        self.assertEqual((recording.ended, recording.header_damaged, recording.lost, recording.overlapped), (True, False, 0, 0))
        self.assertEqual((recording.bodies, recording.joints), (korvel.BODIES, korvel.JOINTS))
        self.assertEqual(recording.module["path"], str(LIBRARIES / "libkorvel.so"))
        self.assertGreater(recording.began, 1.7e9)
        self.assertTrue((np.diff(recording.calls["time"]) >= 0).all())
        self.assertTrue((recording.calls["took"] >= 0).all())
        self.assertEqual(recording.calls["object"].min(), 1)

    def test_arguments_are_those_that_were_given(self):
        set_to = self.recording.of("setJointAnglesPos")
        np.testing.assert_array_equal(set_to.arguments[0], self.motion.q[:, 6:])
        self.assertIsNone(set_to.results)
        np.testing.assert_array_equal(self.recording.of("setRootVelocity").arguments[0], self.motion.dq[:, :6])
        # One computation after each.
        computed = self.recording.of("computeInverseDynamics").which
        self.assertEqual(len(computed), len(set_to.which))
        self.assertTrue((computed > set_to.which).all() and (computed[:-1] < set_to.which[1:]).all())

    def test_results_are_those_that_were_computed(self):
        torques = self.recording.of("getJointAngleTorque")
        forces = korvel.Batch().dynamics(self.motion.q, self.motion.dq, self.motion.ddq)
        joints = torques.arguments[0][:, 0].astype(int)
        sample = np.searchsorted(self.recording.of("computeInverseDynamics").which, torques.which) - 1
        # A result of 4 bytes stands in the record itself.
        read = self.recording.calls["result"][torques.which].astype(np.uint32).view(np.float32)
        np.testing.assert_array_equal(read, forces[sample, 6 + joints])
        poses = self.recording.of("getPose")
        self.assertTrue(0 < poses.in_full.sum() <= len(poses.which))
        at = np.searchsorted(self.recording.of("computeInverseDynamics").which, poses.which[poses.in_full]) - 1
        expected = korvel.Batch().kinematics(self.motion.q).poses_world[at, poses.arguments[0][poses.in_full, 0].astype(int)]
        np.testing.assert_array_equal(poses.results[poses.in_full], expected.reshape(-1, 12))
        self.assertTrue(np.isnan(poses.results[~poses.in_full]).all())

    def damaged(self, *edits, size=None, whole=None):
        """Writes the recording, or its first bytes, with other bytes at some places. Returns the path."""
        data = bytearray((whole or self.file.read_bytes())[:size])
        for at, replacement in edits:
            data[at:at + len(replacement)] = replacement
        path = self.folder / "damaged.bin"
        path.write_bytes(data)
        return path

    def test_a_file_that_was_cut_has_what_is_before(self):
        offsets, whole = self.recording.calls["offset"], len(self.file.read_bytes())
        for size in (whole - 1, whole // 2, 2 * 65536):
            recording = korvel.Recording(self.damaged((96, bytes(8)), (128, bytes(8)), size=size))  # It was not ended.
            self.assertFalse(recording.ended)
            np.testing.assert_array_equal(recording.calls["offset"], offsets[offsets // 65536 < size // 65536])

    def test_what_is_none_or_damaged_is_an_error_with_its_place(self):
        rng = np.random.default_rng(3)
        for size, at, replacement, word in (
                (0, 0, b"", "byte 0"), (100, 0, b"", "byte 0"), (None, 0, rng.bytes(8), "byte 0"), (None, 8, rng.bytes(4), "byte 8"),
                (None, 110, rng.bytes(20), "byte"), (None, 65536, rng.bytes(4), "byte 65536"), (None, 65608, rng.bytes(4), "byte 65"),
                (None, 65536, bytes(65536), "block"), (None, 65536, bytes(16), "block"),
                (None, 65544, bytes(8), "blocks of records up to number")):  # The block has no number and is not in use.
            with self.assertRaisesRegex(korvel.Error, word):
                korvel.Recording(self.damaged((at, replacement), size=size))
        # Whatever it holds: an error of ours, or what can be read.
        whole = self.file.read_bytes()
        for _ in range(200):
            try:
                recording = korvel.Recording(self.damaged((int(rng.integers(len(whole) - 9)), rng.bytes(9)), whole=whole))
                for operation in recording.operations[::10]:
                    recording.of(operation)
            except korvel.Error:
                pass
        # The description is JSON of another shape, and no checksum is looked at.
        size = struct.unpack_from("<I", whole, 24)[0]
        with unittest.mock.patch.object(_recording, "_hash", lambda: None):
            for text in ("[]", "5", "[" * 3000, '{"bodies": [], "joints": [], "operations": [5]}',
                         '{"bodies": [], "joints": [], "operations": [{"name": "a", "arguments": [["f4", 1%s]]}]}' % ("0" * 40)):
                with self.assertRaisesRegex(korvel.Error, "byte 136: expected JSON"):
                    korvel.Recording(self.damaged((136, text.encode().ljust(size))))
        with self.assertRaisesRegex(korvel.Error, "name of an operation"):
            self.recording.of("fly")
        fifo = self.folder / "fifo"
        os.mkfifo(fifo)
        for other in (fifo, self.folder):
            with self.assertRaisesRegex(korvel.Error, f"^{other}: expected a recording, found no regular file"):
                korvel.Recording(other)

    def test_a_closed_file_with_a_damaged_header_is_read_as_one_that_was_not_closed(self):
        recording = korvel.Recording(self.damaged((80, b"\1")))
        self.assertEqual((recording.header_damaged, recording.ended), (recording.checked, not recording.checked))
        self.assertEqual(len(recording.calls), len(self.recording.calls))

    def test_a_file_may_be_cut_once_it_was_read(self):
        path = self.damaged()
        recording = korvel.Recording(path)
        os.truncate(path, 0)
        np.testing.assert_array_equal(recording.of("setJointAnglesPos").arguments[0], self.motion.q[:, 6:])

    def test_a_recording_of_the_first_version_is_read(self):
        path = ROOT / "tests/recorder/data/motion.rec"
        self.assertEqual(len(korvel.Recording(path).calls), 97)
        # The path is not UTF-8, and a locale gave the masses a decimal comma.
        whole = path.read_bytes().replace(b'"masses":[1.', b'"masses":[1,', 1).replace(b'{"path":"/', b'{"path":"\xff', 1)
        with unittest.mock.patch.object(_recording, "_hash", lambda: None):
            recording = korvel.Recording(self.damaged(whole=whole))
        self.assertEqual((len(recording.calls), recording.joints, recording.module), (97, korvel.JOINTS, {}))


def returned_calls(counter):
    return int.from_bytes(pathlib.Path(counter).read_bytes(), "little") if os.path.exists(counter) else 0


class CutShort(unittest.TestCase):
    """A recording of a process that was killed has what the reference host finds, with checksums and without."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def record(self, *arguments, calls=None):
        with subprocess.Popen([os.environ["KORVEL_RECORDED_HOST"], RECORDER, *arguments], env=recording_to(self.folder),
                              stdout=subprocess.DEVNULL) as process:
            if calls:
                while returned_calls(arguments[1]) < calls:
                    self.assertIsNone(process.poll())
                    time.sleep(0.001)
                process.kill()
        self.assertLess(process.returncode, 0)
        (file,) = self.folder.glob("*.rec")
        return file

    def is_read_alike(self, path):
        """Returns the recording."""
        replayed = subprocess.run([HOST, "replay", "--json", path], capture_output=True, check=False)
        expected = json.loads(replayed.stdout)["recordings"][0]
        calls = {name: operation["calls"] for name, operation in expected["operations"].items()}
        for hash_of in (_recording._hash, lambda: None):
            with unittest.mock.patch.object(_recording, "_hash", hash_of):
                recording = korvel.Recording(path)
            self.assertEqual((recording.ended, recording.blocks_left_out), (False, expected["blocks_left_out"]))
            returned = recording.calls[~np.isnan(recording.calls["took"])]
            names, counts = np.unique([recording.operations[i] for i in returned["operation"]], return_counts=True)
            self.assertEqual(dict(zip(names, counts)), calls)
            self.assertEqual(len(recording.calls) - len(returned), expected["not_performed"])
        return recording

    def test_a_killed_process_has_its_newest_calls(self):
        path = self.record("cycles", str(self.folder / "counter"), calls=20000)
        recording = self.is_read_alike(path)
        self.assertEqual(recording.blocks_left_out, 0)
        self.assertGreater(len(recording.calls), returned_calls(self.folder / "counter"))
        # A page of the newest block did not reach the disk.
        damaged = bytearray(path.read_bytes())

        def of_block(at, field):
            return struct.unpack_from("<Q", damaged, at + field)[0]

        blocks = [at for at in range(65536, len(damaged) - 65535, 65536) if of_block(at, 32) > 16384]
        newest = max(blocks, key=lambda at: of_block(at, 8))
        middle = newest + of_block(newest, 32) // 2 // 4096 * 4096
        damaged[middle:middle + 4096] = bytes(4096)
        path.write_bytes(damaged)
        self.assertEqual(self.is_read_alike(path).blocks_left_out, 1)

    def test_a_call_that_did_not_return_is_the_last(self):
        path = self.record("crash")
        recording = self.is_read_alike(path)
        self.assertEqual([recording.operations[call["operation"]] for call in recording.calls],
                         ["create", "computeFwdKinematics", "getPose"])
        np.testing.assert_array_equal(np.isnan(recording.calls["took"]), [False, False, True])
        self.assertEqual(recording.of("getPose").arguments[0].tolist(), [[2**40]])
        self.assertFalse(recording.of("getPose").in_full.any())
        # An operation with more arguments than its record has is left out.
        damaged = bytearray(path.read_bytes())
        last = int(recording.calls["offset"][-1])
        damaged[last + 4:last + 6] = struct.pack("<H", recording.operations.index("setJointAnglesPos"))
        path.write_bytes(damaged)
        self.assertEqual(len(self.is_read_alike(path).calls), 2)


if __name__ == "__main__":
    unittest.main()
