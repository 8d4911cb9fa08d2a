# libquill for Buildroot, from the tree that this file is in: make BR2_EXTERNAL=/path/of/the/tree/packaging/buildroot

QUILL_SITE = $(BR2_EXTERNAL_QUILL_PATH)/../..
QUILL_SITE_METHOD = local
QUILL_VERSION = $(shell sed -nE 's/^project.quill VERSION ([0-9.]+).*/\1/p' $(QUILL_SITE)/CMakeLists.txt)
QUILL_INSTALL_STAGING = YES
QUILL_EXCLUSIONS = build
QUILL_CONF_OPTS = -DQUILL_TESTS=OFF -DQUILL_EXAMPLES=OFF

QUILL_CONF_OPTS += $(foreach kind,PARENT TOP,\
	$(if $(call qstrip,$(BR2_PACKAGE_QUILL_$(kind)_CERTIFICATE)),\
		-DQUILL_$(kind)_CERTIFICATE=$(call qstrip,$(BR2_PACKAGE_QUILL_$(kind)_CERTIFICATE))))

$(eval $(cmake-package))
