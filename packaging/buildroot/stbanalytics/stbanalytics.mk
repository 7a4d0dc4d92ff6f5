################################################################################
#
# stbanalytics
#
################################################################################

STBANALYTICS_VERSION = 1.0.0
# git archive --prefix=stbanalytics-1.0.0/ --output=stbanalytics-1.0.0.tar.gz HEAD, beside this file.
STBANALYTICS_SITE = $(STBANALYTICS_PKGDIR)
STBANALYTICS_SITE_METHOD = file
# The owner chooses a licence, and then names it here, with STBANALYTICS_LICENSE_FILES.
STBANALYTICS_LICENSE = not chosen yet
STBANALYTICS_REDISTRIBUTE = NO
STBANALYTICS_INSTALL_STAGING = YES
STBANALYTICS_SUPPORTS_IN_SOURCE_BUILD = NO
STBANALYTICS_LOGGING = $(call qstrip,$(BR2_PACKAGE_STBANALYTICS_LOGGING))
STBANALYTICS_DEPENDENCIES = qt6base $(STBANALYTICS_LOGGING)
STBANALYTICS_CONF_OPTS = \
	-DBUILD_TESTING=OFF \
	-DQT_HOST_PATH=$(HOST_DIR) \
	-DSTBANALYTICS_DELIVERY=OFF \
	-DSTBANALYTICS_EXAMPLES=OFF \
	-DSTBANALYTICS_TOOLS=OFF \
	-DSTBANALYTICS_LOGGING=$(if $(STBANALYTICS_LOGGING),logging)

$(eval $(cmake-package))
