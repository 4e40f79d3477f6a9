from fixtures import device, own_device, start  # noqa: F401
from virtual_extender import Device

boot = Device
