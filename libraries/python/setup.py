"""The wheel, which tools/wheel makes: it holds libraries of one processor, but nothing of one interpreter."""

from setuptools import setup
from wheel.bdist_wheel import bdist_wheel


class Wheel(bdist_wheel):
    def finalize_options(self):
        super().finalize_options()
        self.root_is_pure = False

    def get_tag(self):
        return "py3", "none", super().get_tag()[2]


setup(cmdclass={"bdist_wheel": Wheel})
