"""The short form of scripts/soak."""

from soak import soak


def test_a_short_soak(own_device):
    assert soak(own_device, seconds=5) == []
