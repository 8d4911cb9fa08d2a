# Builds libquill for Buildroot from the source tree of this file:
#
#     make BR2_EXTERNAL=/path/of/the/tree/packaging/buildroot

QUILL_SITE = $(BR2_EXTERNAL_QUILL_PATH)/../..
QUILL_SITE_METHOD = local
QUILL_VERSION = $(shell sed -nE 's/^project.quill VERSION ([0-9.]+).*/\1/p' $(QUILL_SITE)/CMakeLists.txt)
QUILL_INSTALL_STAGING = YES
QUILL_OVERRIDE_SRCDIR_RSYNC_EXCLUSIONS = --exclude /build
QUILL_CONF_OPTS = -DQUILL_TESTS=OFF -DQUILL_EXAMPLES=OFF \
	-DQUILL_PROGRAM=$(if $(BR2_PACKAGE_QUILL_PROGRAM),ON,OFF) \
	$(if $(call qstrip,$(BR2_PACKAGE_QUILL_PLATFORM_MPOOL)),\
		-DQUILL_PLATFORM_MPOOL=$(call qstrip,$(BR2_PACKAGE_QUILL_PLATFORM_MPOOL)))

QUILL_CONF_OPTS += $(foreach kind,PARENT TOP,\
	$(if $(call qstrip,$(BR2_PACKAGE_QUILL_$(kind)_CERTIFICATE)),\
		-DQUILL_$(kind)_CERTIFICATE=$(call qstrip,$(BR2_PACKAGE_QUILL_$(kind)_CERTIFICATE))))

# Tables are signed and captures are read on a development machine, not on the device.
define QUILL_REMOVE_DESK_TOOLS
	rm -f $(TARGET_DIR)/usr/bin/sign-reg-table $(TARGET_DIR)/usr/lib/wireshark/plugins/quill.lua
endef
QUILL_POST_INSTALL_TARGET_HOOKS += QUILL_REMOVE_DESK_TOOLS

$(eval $(cmake-package))
