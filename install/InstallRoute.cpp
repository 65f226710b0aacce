#include "install/InstallRoute.h"

namespace ZelmoraTevra {

const InstallRoute locatedRoute = {
    .distribute = &PackageSequence::distribute,
    .tempFolderTooSmall = 1099,
    .tellsUnknownTempRoom = false,
    .moveMapLine = u"START RUNNING MOVE MAP",
    .cardComesFirst = false,
    .notEnoughSpace = {.software = 1100, .content = 1274, .both = 1275},
    .spaceAfterwards = SpaceAfterwards::told,
    .reports =
        {
            .noRegister = {1101, u"Finding a valid updates.xml file on the device failed!"},
            .notRecorded = {1102, u"Failed to open updates.xml file. Update was not serialized!"},
            .validating = 1175,
            .damaged = 1174,
            .notDeleted = {1104, u"The downloaded files could not be deleted!"},
            .cleanupNotStarted = {1109, u"The cleanup init process fail!"},
            .cleanupFailed = {1112, u"The cleanup run process fail!"},
        },
};

const InstallRoute olderRoute = {
    .distribute = &PackageSequence::distributeWhole,
    .tempFolderTooSmall = 1106,
    .tellsUnknownTempRoom = true,
    .moveMapLine = u"START RUNNING MOVE MAP - OLD CONTENT FOUND",
    .cardComesFirst = true,
    .notEnoughSpace = {.software = 1107, .content = 1278, .both = 1279},
    .spaceAfterwards = SpaceAfterwards::omitted,
    .reports =
        {
            .noRegister = {1108, u"Finding a valid updates.xml on the device falied!"},
            .notRecorded = {1110, u"Fail to open updates.xml file!Update was not serialized!"},
            .notDeleted = {1111, u"The downloaded files could not be deleted!"},
            .cleanupNotStarted = {1073, u"The cleanup init process fail!"},
            .cleanupFailed = {1074, u"The cleanup run process fail!"},
        },
};

}  // namespace ZelmoraTevra
