################################################################################
#
# vistel
#
################################################################################

# SPDX-License-Identifier: MIT
# NOT BUILT with Buildroot: it was written by its manual. The tests check its paths and its script; see
# packaging/README.md for what else was checked, and how.

VISTEL_VERSION = 0.1.0
VISTEL_SOURCE = vistel-$(VISTEL_VERSION).tar.gz
VISTEL_SITE = @VISTEL_SOURCES@
VISTEL_LICENSE = MIT
VISTEL_LICENSE_FILES = LICENSE NOTICE
VISTEL_SUPPORTS_IN_SOURCE_BUILD = NO
VISTEL_DEPENDENCIES = giflib host-bison host-flex host-gettext host-giflib $(TARGET_NLS_DEPENDENCIES)
VISTEL_COMPONENTS = product
VISTEL_CONF_OPTS = \
	-DVISTEL_LINK=dynamic \
	-DVISTEL_BUILD_AUTHOR=OFF \
	-DVISTEL_INSTALL_MANUALS=OFF \
	-DVISTEL_HOST_CXX="$(HOSTCXX)"

ifeq ($(BR2_PACKAGE_VISTEL_SYSMGR),y)
VISTEL_DEPENDENCIES += expat json-for-modern-cpp libevent libsodium sqlite
ifeq ($(BR2_PACKAGE_LIBXCRYPT),y)
VISTEL_DEPENDENCIES += libxcrypt
endif
VISTEL_COMPONENTS += service
VISTEL_CONF_OPTS += -DVISTEL_BUILD_SYSMGR=ON

define VISTEL_USERS
	sysmgr -1 sysmgr -1 * - - - System manager and web server
endef

define VISTEL_PERMISSIONS
	/var/lib/sysmgr d 0700 sysmgr sysmgr - - - - -
endef

define VISTEL_INSTALL_INIT_SYSV
	$(INSTALL) -D -m 0755 $(VISTEL_PKGDIR)/S60sysmgrd $(TARGET_DIR)/etc/init.d/S60sysmgrd
	mkdir -p $(TARGET_DIR)/var/lib/sysmgr
endef
else
VISTEL_CONF_OPTS += -DVISTEL_BUILD_SYSMGR=OFF
endif

define VISTEL_INSTALL_TARGET_CMDS
	$(foreach component,$(VISTEL_COMPONENTS), \
		DESTDIR=$(TARGET_DIR) $(BR2_CMAKE) --install $(VISTEL_BUILDDIR) --component $(component)
	)
endef

$(eval $(cmake-package))
