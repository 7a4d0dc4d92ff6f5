SUMMARY = "Events of a set-top box as compact JSON"
DESCRIPTION = "Turns the usage and quality-of-service events of a set-top box into compact JSON packages and hands them \
to the box's own delivery component."
SECTION = "libs"
# No licence has been chosen yet. The owner chooses one, and then names it here, with a LIC_FILES_CHKSUM.
LICENSE = "CLOSED"

# git archive --prefix=stbanalytics-1.0.0/ --output=stbanalytics-1.0.0.tar.gz HEAD, beside this file in files/.
SRC_URI = "file://${BP}.tar.gz"

inherit qt6-cmake pkgconfig

# The recipe that has the box's own liblogging; where it is empty, liblogging-standin writes to Qt's log.
STBANALYTICS_LOGGING ?= ""

DEPENDS = "qtbase ${STBANALYTICS_LOGGING}"
EXTRA_OECMAKE = " \
    -DBUILD_TESTING=OFF \
    -DSTBANALYTICS_DELIVERY=OFF \
    -DSTBANALYTICS_EXAMPLES=OFF \
    -DSTBANALYTICS_TOOLS=OFF \
    ${@'-DSTBANALYTICS_LOGGING=logging' if d.getVar('STBANALYTICS_LOGGING') else ''} \
"

# A library without a version would otherwise be taken for a link that only builds need.
PACKAGES =+ "liblogging-standin"
FILES:liblogging-standin = "${libdir}/liblogging.so"
