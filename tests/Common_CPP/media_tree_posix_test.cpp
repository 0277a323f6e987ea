// The devices behind mounts, in trees as the kernel makes them.
#include "Common_CPP/file/media_tree_posix.h"

#include <gtest/gtest.h>

#include "Common_CPP/util/text.h"
#include "tests/support/temp_folder.h"

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kMountInfo =
    "22 27 0:21 / /proc rw,relatime - proc proc rw\n"
    "27 1 254:0 / / rw,relatime shared:1 - ext4 /dev/vda rw\n"
    "90 27 8:17 / /media/a\\040stick rw,nosuid shared:2 master:1 - vfat /dev/sdb1 rw,fmask=0022\n"
    "91 27 11:0 / /media/disc ro - iso9660 /dev/sr0 ro\n"
    "92 27 0:45 /@home /home rw - btrfs /dev/sdb1 rw\n"
    "93 27 0:46 / /merged rw - overlay overlay rw,lowerdir=/a\n"
    "94 27 0:47 / /odd rw - btrfs /dev/../sdb1 rw\n"
    "95 27 8:99 / /gone rw - vfat /dev/sdz9 rw\n"
    "96 27 8:33 / /out rw - vfat /dev/sdc1 rw\n"
    "97 27 8:49 / /hub rw - vfat /dev/sdd1 rw\n"
    "98 27 11:1 / /sata ro - udf /dev/sr1 ro\n";

class MediaTree : public testing::Test {
 protected:
  MediaTree() {
    Put("proc/self/mountinfo", std::string(kMountInfo));
    // A stick, behind a hub, with a partition.
    const std::string hub = "sys/devices/pci0/usb1/1-2";
    const std::string stick = hub + "/1-2.4/1-2.4:1.0/host6/target6:0:0/6:0:0:0";
    Put("sys/devices/pci0/usb1/idVendor", "1d6b\n");
    Put("sys/devices/pci0/usb1/idProduct", "0002\n");
    Put("sys/devices/pci0/vendor", "0x8086\n");
    Put(hub + "/idVendor", "05e3\n");
    Put(hub + "/idProduct", "0608\n");
    Put(hub + "/serial", "of the hub\n");
    Put(hub + "/1-2.4/idVendor", "0781\n");
    Put(hub + "/1-2.4/idProduct", "5567\n");
    Put(hub + "/1-2.4/manufacturer", "Plug Vendor\n");
    Put(hub + "/1-2.4/product", "Plug Product\n");
    Put(hub + "/1-2.4/serial", "4C530001\n");
    Put(stick + "/vendor", "Vendor  \n");
    Put(stick + "/model", "Stick 32GB      \n");
    Put(stick + "/type", "0\n");
    Put(stick + "/block/sdb/sdb1/partition", "1\n");
    Link("sys/dev/block/8:17", "../../" + stick.substr(4) + "/block/sdb/sdb1");
    Link("sys/class/block/sdb1", "../../" + stick.substr(4) + "/block/sdb/sdb1");
    // Drives for discs, on the USB and inside the machine.
    Put(hub + "/1-2.5/idVendor", "13fd\n");
    Put(hub + "/1-2.5/idProduct", "0840\n");
    Put(hub + "/1-2.5/7:0:0:0/type", "5\n");
    Put(hub + "/1-2.5/7:0:0:0/vendor", "Maker\n");
    Put(hub + "/1-2.5/7:0:0:0/model", "DVD Writer\n");
    Put(hub + "/1-2.5/7:0:0:0/block/sr0/size", "0\n");
    Link("sys/dev/block/11:0", "../../" + hub.substr(4) + "/1-2.5/7:0:0:0/block/sr0");
    Put("sys/devices/pci0/ata1/0:0:0:0/type", "5\n");
    Put("sys/devices/pci0/ata1/0:0:0:0/model", "BD Drive\n");
    Put("sys/devices/pci0/ata1/0:0:0:0/block/sr1/size", "0\n");
    Link("sys/dev/block/11:1", "../../devices/pci0/ata1/0:0:0:0/block/sr1");
    // The machine's own disk, a stick that says little, and a link out of the tree.
    Put("sys/devices/pci0/virtio1/block/vda/size", "0\n");
    Link("sys/dev/block/254:0", "../../devices/pci0/virtio1/block/vda");
    Put(hub + "/1-2.6/idVendor", "abcd\n");
    Put(hub + "/1-2.6/idProduct", "1234\n");
    Put(hub + "/1-2.6/block/sdd/sdd1/partition", "1\n");
    Link("sys/dev/block/8:49", "../../" + hub.substr(4) + "/1-2.6/block/sdd/sdd1");
    Put("outside/usb/idVendor", "0781\n");
    Put("outside/usb/idProduct", "5567\n");
    Put("outside/usb/sdc1/partition", "1\n");
    Link("sys/dev/block/8:33", "../../../outside/usb/sdc1");
  }

  void Put(const std::string& name, const std::string& content) const {
    fs::create_directories((_folder.Path() / name).parent_path());
    _folder.Write(name, content);
  }
  void Link(const std::string& name, const std::string& target) const {
    fs::create_directories((_folder.Path() / name).parent_path());
    fs::create_symlink(target, _folder.Path() / name);
  }
  std::string Root(const char* name) const { return (_folder.Path() / name).string(); }
  CkxMediaTree Tree() const { return CkxMediaTree(Root("proc"), Root("sys")); }

  const CkxTempFolder _folder;
};

std::string Said(const std::optional<SkxMediaDevice>& device) {
  if (!device) return "none";
  std::string text = device->kind == EkxMediaKind::Usb ? "usb" : "disc";
  for (const auto& fact : {device->vendor, device->product, device->serialNumber}) {
    text += "|" + (fact ? KxText_ToUtf8(*fact) : "-");
  }
  return text;
}

TEST_F(MediaTree, TellsTheDeviceBehindAMount) {
  const struct {
    uint64_t mount;
    const char* said;
  } kCases[] = {
      {90, "usb|Vendor|Stick 32GB|4C530001"},
      {91, "disc|Maker|DVD Writer|-"},
      {92, "usb|Vendor|Stick 32GB|4C530001"},  // by the device that it was mounted by
      {97, "usb|abcd|1234|-"},                 // all that it says
      {98, "disc|-|BD Drive|-"},
      {22, "none"},
      {27, "none"},  // the machine's own
      {93, "none"},
      {94, "none"},  // no name of a device
      {95, "none"},  // gone meanwhile
      {96, "none"},  // out of the tree
      {9, "none"},
      {0, "none"},
  };
  for (const auto& c : kCases) EXPECT_EQ(Said(Tree().DeviceOfMount(c.mount)), c.said) << c.mount;
}

TEST_F(MediaTree, AttributesAreFilesAndBounded) {
  const std::string stick = "sys/devices/pci0/usb1/1-2/1-2.4";
  Put(stick + "/serial", std::string(100000, '7'));
  EXPECT_EQ(Said(Tree().DeviceOfNumber(8, 17)), "usb|Vendor|Stick 32GB|" + std::string(256, '7'));
  fs::remove(_folder.Path() / stick / "serial");
  Link(stick + "/serial", "manufacturer");
  EXPECT_EQ(Said(Tree().DeviceOfNumber(8, 17)), "usb|Vendor|Stick 32GB|-") << "a link is not followed";
}

TEST_F(MediaTree, IsNothingWithoutTrees) {
  EXPECT_EQ(Said(CkxMediaTree(Root("proc"), Root("none")).DeviceOfMount(90)), "none");
  EXPECT_EQ(Said(CkxMediaTree(Root("none"), Root("sys")).DeviceOfMount(90)), "none");
}

TEST(MountInfo, ALineIsReadWholeOrNotAtAll) {
  const auto stick = KxMountInfo_Find(kMountInfo, 90);
  ASSERT_TRUE(stick);
  EXPECT_EQ(stick->major, 8u);
  EXPECT_EQ(stick->minor, 17u);
  EXPECT_EQ(stick->source, "/dev/sdb1");
  EXPECT_EQ(KxMountInfo_Find("7 1 0:4 / /x rw - fuse a\\040\\134b\\400\\08 rw", 7)->source, "a \\b\\400\\08");
  for (const char* const broken : {"", "\n", "7", "7 1", "7 1 8", "7 1 8:", "7 1 :1", "7 1 8:1x", "x7 1 8:1",
                                   "7x 1 8:1", "-7 1 8:1 / / rw - a b c", "7 1 4294967296:1 / / rw - a b c"}) {
    EXPECT_FALSE(KxMountInfo_Find(broken, 7)) << broken;
  }
  for (size_t size = 0; size <= kMountInfo.size(); ++size) {
    const std::string part(kMountInfo.substr(0, size));
    const auto found = KxMountInfo_Find(part, 90);
    EXPECT_TRUE(!found || found->major == 8) << size;
  }
}

TEST(MediaDevice, WhatIsNotThereLiesOnNone) {
  EXPECT_FALSE(KxMedia_DeviceOf(CkxTextView()));
  EXPECT_FALSE(KxMedia_DeviceOf(KXW("/not/there")));
  EXPECT_FALSE(KxMedia_DeviceOf(KXW("/proc/self/status")));
}

}  // namespace
