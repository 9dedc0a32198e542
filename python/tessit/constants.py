"""The constants of the public header, under the names that they have there."""

from __future__ import annotations

import enum


class _Named(enum.IntEnum):
    """A number that prints as its name, whatever the version of Python."""

    def __str__(self) -> str:
        return self.name


class ResultCode(_Named):
    """What a call of the library returns. 0 is success, every failure is negative."""

    RESULT_OK = 0
    ERR_NO_MEMORY = -1
    ERR_WRONG_STATE = -2
    ERR_BAD_ARGUMENT = -3
    ERR_UNSUPPORTED_ON_DEVICE = -4
    ERR_UNKNOWN_DEVICE = -5
    ERR_PROBE_NOT_FOUND = -10
    ERR_TARGET_CONNECT_FAILED = -11
    ERR_TARGET_LOW_VOLTAGE = -12
    ERR_NO_PROBE_ATTACHED = -13
    ERR_FLASH_CONTROLLER_TIMEOUT = -20
    ERR_RECOVER_FAILED = -21
    ERR_PROTECTED = -90
    ERR_JLINK_LOAD_FAILED = -101
    ERR_JLINK_CALL_FAILED = -102
    ERR_JLINK_TOO_OLD = -103
    ERR_UNEXPECTED_CHIP_VERSION = -255


class ChipFamily(_Named):
    """Chip families; the library serves one."""

    BIRCH_FAMILY = 1


class ChipVersion(_Named):
    """Chip versions. ALDER values and UNKNOWN are never produced; FUTURE is an unlisted revision of a known part."""

    UNKNOWN = 0
    ALDER_MX_VA_REV1 = 1
    ALDER_MX_VA_REV2 = 2
    ALDER_MX_VA_REV3 = 3
    ALDER_MX_VB_REV3 = 4
    ALDER_MX_VC_REV3 = 5
    ALDER_M2_VA_REV3 = 6
    BIRCH_M1_VA_ENGA = 7
    BIRCH_M1_VA_ENGB = 8
    BIRCH_M1_VA_REV1 = 9
    BIRCH_M2_VA_ENGA = 10
    BIRCH_M1_VA_FUTURE = 11
    BIRCH_M2_VA_FUTURE = 12
    BIRCH_M3_VA_REV1 = 13
    BIRCH_M3_VA_FUTURE = 14
    BIRCH_M1_VB_REV1 = 15
    BIRCH_M1_VB_FUTURE = 16
    ALDER_M1_VB_REV3 = 17
    BIRCH_M2_VA_REV1 = 18
    BIRCH_M1_VA_REV2 = 19
    BIRCH_M1_VB_REV2 = 20
    BIRCH_M2_VA_ENGB = 21


class Protection(_Named):
    """Readback protection. A Birch chip knows only NONE and FULL."""

    NONE = 0
    REGION_0 = 1
    FULL = 2
    BOTH = 3


class Region0Source(_Named):
    """Origin of region 0. A Birch chip has no region 0."""

    NO_REGION_0 = 0


class Register(_Named):
    """CPU registers: R13 is the stack pointer in use, R14 the link register, R15 the program counter."""

    R0 = 0
    R1 = 1
    R2 = 2
    R3 = 3
    R4 = 4
    R5 = 5
    R6 = 6
    R7 = 7
    R8 = 8
    R9 = 9
    R10 = 10
    R11 = 11
    R12 = 12
    R13 = 13
    R14 = 14
    R15 = 15
    XPSR = 16
    MSP = 17
    PSP = 18


class RamPower(_Named):
    """Power of a RAM section."""

    RAM_SECTION_OFF = 0
    RAM_SECTION_ON = 1


class RttDirection(_Named):
    """Up is target to host, down is host to target."""

    UP_DIRECTION = 0
    DOWN_DIRECTION = 1


class QspiReadMode(_Named):
    """How the external flash is read; the code goes unchanged into the peripheral's register."""

    READ_MODE_CODE_0 = 0
    READ_MODE_CODE_1 = 1
    READ_MODE_CODE_2 = 2
    READ_MODE_CODE_3 = 3
    READ_MODE_CODE_4 = 4


class QspiWriteMode(_Named):
    """How the external flash is written; the code goes unchanged into the peripheral's register."""

    WRITE_MODE_CODE_0 = 0
    WRITE_MODE_CODE_1 = 1
    WRITE_MODE_CODE_2 = 2
    WRITE_MODE_CODE_3 = 3


class QspiAddressMode(_Named):
    """3 or 4 address bytes."""

    ADDRESS_MODE_24BIT = 0
    ADDRESS_MODE_32BIT = 1


class QspiFrequency(_Named):
    """The serial clock divider minus one."""

    FREQ_DIV1 = 0
    FREQ_DIV2 = 1
    FREQ_DIV4 = 3
    FREQ_DIV8 = 7
    FREQ_DIV16 = 15


class QspiSpiMode(_Named):
    """Clock polarity and phase, as the peripheral takes them."""

    SPI_MODE_CODE_0 = 0
    SPI_MODE_CODE_1 = 1


class QspiLevel(_Named):
    """Level of a line during custom instructions."""

    LEVEL_LOW = 0
    LEVEL_HIGH = 1


class QspiPageSize(_Named):
    """What the external flash programs at once: 256 or 512 bytes."""

    PP_SIZE_CODE_0 = 0
    PP_SIZE_CODE_1 = 1


class QspiErase(_Named):
    """What one erase of the external flash clears; ERASEALL takes any address."""

    ERASE4KB = 0
    ERASE64KB = 1
    ERASEALL = 2
    ERASE32KB = 3


#: Parts of a log line.
LOG_SEPARATOR = ":\t"
#: Begins a message that is a text of the J-Link library.
LOG_JLINK_MARK = "JLink:\t"
#: Begin the messages that tell of progress; every other message of the library tells what went wrong.
LOG_PROGRESS = ("There is no generic Birch device", "Device version is ")
