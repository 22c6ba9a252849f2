"""Record directories of a test's own, on a disk that counts as having room."""

import pytest

import localstorage


@pytest.fixture(autouse=True)
def _quiet(tmp_path):
    localstorage.set_option(localstorage.Option.FULL_SPACE, 64)
    localstorage.log.to_files(tmp_path / "log")


@pytest.fixture
def disk(tmp_path):
    return tmp_path / "disk"
