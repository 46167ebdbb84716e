"""An open scanner of the simulator: capture, properties, the JSON document, errors."""

import numpy
import pytest

import livescannerkx2 as kx2
from livescannerkx2 import _scanner

@pytest.fixture
def scanner():
    with kx2.Scanner() as opened:
        yield opened


def error_code(call, *args):
    with pytest.raises(kx2.Error) as caught:
        call(*args)
    return caught.value.code


def test_plain_capture_gives_the_still_finger(scanner):
    result = scanner.capture_plain()
    assert result.finger and result.status == 0
    assert scanner.capture_mode is kx2.CaptureMode.PLAIN
    assert result.image.shape == (750, 800) and result.image.dtype == numpy.uint8
    # Masked: white background around darker ridges.
    assert numpy.median(result.image) == 255 and result.image.min() < 64
    assert 0 <= scanner.condition <= 100


def test_plain_time_out_is_an_sdk_error(scanner):
    with pytest.raises(kx2.CaptureTimeout) as caught:
        scanner.capture_plain(max_frames=1)
    assert isinstance(caught.value, kx2.Error) and not isinstance(caught.value, TimeoutError)
    assert caught.value.code == -15 and "hold it still" in str(caught.value)


def test_roll_reports_its_result_code_and_document(scanner):
    prompts, widths = [], []
    result = scanner.capture_roll(on_prompt=prompts.append,
                                  on_frame=lambda image, width: widths.append(width))
    # The finger is asked for and told when to roll; the roll grows frame by frame.
    assert prompts[-2:] == [kx2.RollPrompt.PLACE_FINGER, kx2.RollPrompt.ROLL_NOW]
    assert max(widths) > 300
    assert result.finger and result.image.shape == (750, 800)
    assert result.status == 0 or -811 <= result.status <= -800
    roll = scanner.scanner_data["KX2"]["ROLLFINGER"]
    assert roll["RETURNCODE"] == str(result.status)
    # Reading the result cleared it until the next roll starts.
    scanner.trigger()
    assert scanner.get_roll_image()[2:] == (False, -15)
    scanner.scanner_data = {"KX2": {"ROLLFINGER": {"MERGED_WIDTH_THRESHOLD": "120"}}}
    assert scanner.scanner_data["KX2"]["ROLLFINGER"]["MERGED_WIDTH_THRESHOLD"] == "120"


def test_scanner_describes_itself(scanner, scanner_name):
    assert scanner.name == scanner_name and scanner.serial_number == scanner_name
    for size in (scanner.image_size, scanner.preview_image_size, scanner.roll_image_size):
        assert size == (800, 750)
    for dpi in (scanner.image_dpi, scanner.preview_image_dpi, scanner.roll_image_dpi):
        assert dpi == (500, 500)
    version = scanner.version_string
    assert version.endswith(" SAPI:1.8.1.1822")
    # A buffer far too small grows to the length the library asks for.
    assert _scanner._read_text("LS_KX2GetVersionString", lambda buf, size: kx2._lib.api
                               .LS_KX2GetVersionString(scanner._handle, buf, size), 1) == version
    scanner.set_led(0, 3)
    assert error_code(scanner.set_led, 1, 0) == -35


def test_properties_by_text_integer_and_double(scanner):
    assert scanner.get_property("Version") == "1.8.1.1822"
    assert error_code(scanner.set_property, "Version", "2") == -47
    scanner.set_property_long("nMaskSensitivity", 5)
    assert scanner.get_property_long("nMaskSensitivity") == 5
    assert error_code(scanner.set_property_long, "nMaskSensitivity", 6) == -35
    scanner.set_property("nMaskSensitivity", "2")
    assert scanner.get_property("nMaskSensitivity") == "2"
    assert error_code(scanner.get_property_double, "nMaskSensitivity") == -44
    assert error_code(scanner.set_property_double, "nMaskSensitivity", 1.5) == -44
    assert error_code(scanner.get_property_long, "nNoSuchProperty") == -206


def test_json_document_as_dict(scanner):
    scanner.capture_mode = kx2.CaptureMode.PLAIN
    assert scanner.scanner_data == {"KX2": ""}
    scanner.scanner_data = {"KX2": {"UNKNOWN": "1"}}
    error = pytest.raises(kx2.Error, setattr, scanner, "scanner_data", "{ not json").value
    assert error.code == -101 and error.function == "LS_KX2ExtendedScannerAccess"
    assert error_code(scanner.extended_access, 5) == -206


def test_mode_errors(scanner):
    assert error_code(setattr, scanner, "capture_mode", 6) == -103
    scanner.capture_mode = kx2.CaptureMode.PLAIN
    assert error_code(scanner.get_roll_image) == -50
    scanner.capture_mode = kx2.CaptureMode.ROLL
    assert error_code(scanner.get_preview_image) == -50
    assert error_code(scanner.get_image) == -103


def test_open_and_close_keep_the_reference_count(scanner_name):
    assert error_code(kx2.Scanner, "KX2 99999999") == -44
    with kx2.Scanner(scanner_name) as scanner:
        # The machine-wide claim refuses a second opening, in this process too.
        assert error_code(kx2.Scanner, scanner_name) == -61
    scanner.close()
    assert error_code(scanner.trigger) == -42
    # Every failed and every closed scanner gave its SDK reference back.
    assert error_code(kx2.uninitialize) == -2
