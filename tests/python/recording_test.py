"""Recordings hold what a host did, as it was asked and answered."""

import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

from support import HOST, ROOT, np

import korvel
from korvel import _recording

LIBRARIES = pathlib.Path(os.environ["KORVEL_LIBRARY_PATH"])
RECORDER = LIBRARIES / "libkorvel_record.so"
if not RECORDER.exists():
    print("skipped: there is no recorder")
    sys.exit(77)


class Recordings(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.folder = pathlib.Path(folder.name)
        with open(os.path.join(ROOT, "motions", "squat.csv"), encoding="ascii") as file:
            lines = [next(file) for _ in range(40)]
        cls.path = cls.folder / "short.csv"
        cls.path.write_text("".join(lines), encoding="ascii")
        environment = dict(os.environ, KORVEL_RECORD_TO=folder.name, KORVEL_RECORD_MODULE=str(LIBRARIES / "libkorvel.so"))
        subprocess.run([HOST, "run", cls.path, "-o", cls.folder / "results.csv", "--module", RECORDER], check=True,
                       env=environment, capture_output=True)
        # The module is tried in a process of its own before.
        cls.file = max(cls.folder.glob("*.rec"), key=lambda path: path.stat().st_size)
        cls.recording = korvel.Recording(cls.file)
        cls.motion = korvel.Motion.read(cls.path)

    def test_it_says_what_was_recorded(self):
        recording = self.recording
        self.assertTrue(recording.ended)
        self.assertEqual((recording.lost, recording.overlapped), (0, 0))
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
        rates = self.recording.of("setRootVelocity").arguments[0]
        np.testing.assert_array_equal(rates, self.motion.dq[:, :6])
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

    def test_a_file_that_was_cut_has_what_is_before(self):
        whole = self.file.read_bytes()
        path = self.folder / "cut.bin"
        for size in (len(whole) - 1, len(whole) // 2, 2 * 65536):
            cut = bytearray(whole[:size])
            cut[96:104] = bytes(8)  # It was not ended.
            path.write_bytes(cut)
            recording = korvel.Recording(path)
            self.assertFalse(recording.ended)
            self.assertLessEqual(len(recording.calls), len(self.recording.calls))
            np.testing.assert_array_equal(recording.calls["offset"],
                                          self.recording.calls["offset"][:len(recording.calls)])

    def test_what_is_none_or_damaged_is_an_error_with_its_place(self):
        whole = self.file.read_bytes()
        path = self.folder / "damaged.bin"
        rng = np.random.default_rng(3)
        for size, start, end, word in ((0, 0, 0, "byte 0"), (100, 0, 0, "byte 0"), (len(whole), 0, 8, "byte 0"),
                                       (len(whole), 8, 12, "byte 8"), (len(whole), 110, 130, "byte"),
                                       (len(whole), 65536, 65540, "byte 65536"), (len(whole), 65608, 65612, "byte 65")):
            damaged = bytearray(whole[:size])
            damaged[start:end] = rng.bytes(end - start)
            path.write_bytes(damaged)
            with self.assertRaisesRegex(korvel.Error, word):
                korvel.Recording(path)
        # Whatever it holds: an error of ours, or what can be read.
        for _ in range(200):
            damaged = bytearray(whole)
            at = int(rng.integers(len(whole)))
            damaged[at:at + 9] = rng.bytes(9)
            path.write_bytes(damaged[:len(whole)])
            try:
                recording = korvel.Recording(path)
                for operation in recording.operations[::10]:
                    recording.of(operation)
            except korvel.Error:
                pass
        with self.assertRaisesRegex(korvel.Error, "name of an operation"):
            self.recording.of("fly")

    def test_flags_have_names(self):
        self.assertEqual((_recording.HAS_RESULT, _recording.FLUSHES_DENORMALS), (1, 64))


if __name__ == "__main__":
    unittest.main()
