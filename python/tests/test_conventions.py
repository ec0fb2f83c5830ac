"""NetCDF by the conventions of the field, CF-1.9: Debian has no checker of them, so the rules are here by section."""

from __future__ import annotations

import hashlib
import re
import subprocess
from collections.abc import Iterator
from pathlib import Path

import netCDF4
import numpy as np
import pytest
import xarray
from conftest import Runs

import vexfile
from vexfile import command

#: Standard names of the CF table, version 79, and their canonical units.
STANDARD_NAMES = {
    "air_pressure": "Pa", "air_pressure_at_cloud_top": "Pa", "air_temperature": "K", "air_temperature_at_cloud_top": "K",
    "atmosphere_mass_content_of_carbon_dioxide": "kg m-2", "atmosphere_mass_content_of_carbon_monoxide": "kg m-2",
    "atmosphere_mass_content_of_ozone": "kg m-2",
    "atmosphere_mass_content_of_methane": "kg m-2", "atmosphere_mass_content_of_nitrous_oxide": "kg m-2",
    "cloud_area_fraction": "1", "humidity_mixing_ratio": "1", "land_binary_mask": "1", "latitude": "degree_north",
    "longitude": "degree_east", "number_of_observations": "1",
    "radiation_frequency": "s-1", "sensor_azimuth_angle": "degree",
    "sensor_band_central_radiation_wavenumber": "m-1", "sensor_zenith_angle": "degree", "solar_azimuth_angle": "degree",
    "solar_zenith_angle": "degree", "surface_air_pressure": "Pa", "surface_longwave_emissivity": "1",
    "surface_temperature": "K", "toa_brightness_temperature": "K", "toa_outgoing_radiance_per_unit_wavenumber": "W m-2 sr-1 m"}

RUNS = ["-c 1-5 -avhrr 1 -t2 ozo,trg,clp,twt,ems", "-c 1-5 -tb 1"]
#: Types of section 2.2, by numpy; texts are `str`.
TYPES = {np.dtype(code) for code in ("i1", "u1", "i2", "u2", "i4", "u4", "i8", "u8", "f4", "f8")}
STATISTICS = ["", ".HistoAvg.txt", ".HistoPix.txt", ".boxstat"]


def converts(units: str, other: str) -> bool:
    """Whether UDUNITS knows both units and has a factor for them."""
    done = subprocess.run(["udunits2", "-H", units, "-W", other], capture_output=True, text=True)
    return done.returncode == 0 and "1 " in done.stdout


def faults_of(file: netCDF4.Dataset, name: str) -> Iterator[str]:
    """What of a variable is against the conventions, by their sections."""
    variable, said = file[name], file[name].__dict__
    text = variable.dtype is str
    of_pixels = "pixel" in variable.dimensions
    coordinates = {one for other in file.variables.values() for one in other.__dict__.get("coordinates", "").split()}
    if not text and variable.dtype not in TYPES:
        yield f"2.2: type {variable.dtype}"
    if not re.fullmatch("[A-Za-z][A-Za-z0-9_]*", name):
        yield "2.3: name"
    for one in {"_FillValue", "valid_range", "flag_values"} & said.keys():
        if np.asarray(said[one]).dtype != variable.dtype:
            yield f"2.5.1, 3.5: type of {one}"
    if "_FillValue" in said and (name in coordinates or name in file.dimensions):
        yield "2.5.1: a coordinate with _FillValue"
    low, high = said.get("valid_range", (0, 0))
    if "valid_range" in said and low <= said.get("_FillValue", np.nan) <= high:
        yield "2.5.1: _FillValue in the range"
    if not text and " since " not in said.get("units", "1") and not converts(said.get("units", "1"), said.get("units", "1")):
        yield f"3.1: units {said['units']}"
    if variable.dtype in (np.dtype("f4"), np.dtype("f8")) and not {"units", "bounds"} & {*said, *variable.dimensions}:
        yield "3.1: no units"
    if not said.get("long_name"):
        yield "3.2: no long_name"
    if "standard_name" in said and said["standard_name"] != "time" and not converts(
            said["units"], STANDARD_NAMES.get(said["standard_name"], "?")):
        yield f"3.3: {said['standard_name']} in {said['units']}"
    for attribute in ("ancillary_variables", "coordinates", "bounds"):
        for one in said.get(attribute, "").split():
            if one not in file.variables:
                yield f"3.4, 5, 7.1: {attribute} names {one}"
            elif attribute == "coordinates" and not {*file[one].dimensions} <= {*variable.dimensions}:
                yield f"5: dimensions of {one}"
    if "flag_values" in said and np.size(said["flag_values"]) != len(said["flag_meanings"].split()):
        yield "3.5: number of flags"
    if " since " in said.get("units", "") and "calendar" not in said:
        yield "4.4: no calendar"
    if of_pixels and name not in ("time", "latitude", "longitude") and not {"time", "latitude", "longitude"} <= {
            *said.get("coordinates", "").split()}:
        yield "5: a variable of pixels without its coordinates"
    if name in file.dimensions and not text and not (np.diff(variable[:]) > 0).all():
        yield "5.1: a coordinate variable that does not ascend"
    if "cell_methods" in said and not re.fullmatch("area: time: (mean|standard_deviation|sum)", said["cell_methods"]):
        yield "7.3: cell_methods"


def faults(path: Path) -> list[str]:
    """What in a file is against CF-1.9 and the attributes of a whole that are asked for."""
    with netCDF4.Dataset(path) as file:
        said = file.__dict__
        wanted = {"Conventions", "title", "source", "instrument", "platform", "history", "date_created", "vexfile_version",
                  "input_sha256", "time_coverage_start", "time_coverage_end"}
        if "pixel" in file.dimensions:
            wanted |= {f"geospatial_{axis}_{end}" for axis in ("lat", "lon") for end in ("min", "max")}
        return [f"2.6: no {one}" for one in sorted(wanted - said.keys())] + [
            f"2.6.1: {said['Conventions']}"] * (said.get("Conventions") != "CF-1.9") + [
            "5: coordinates of the whole"] * ("coordinates" in said) + [
            f"{name}: {fault}" for name in file.variables for fault in faults_of(file, name)]


@pytest.mark.parametrize("options", RUNS)
@pytest.mark.parametrize("form", ["bin", "txt"])
def test_netcdf_of_records(runs: Runs, tmp_path: Path, options: str, form: str) -> None:
    """No fault; types of the file; all values in their ranges; what the whole says is what is in it."""
    path, out = runs.run("old", options, form), tmp_path / "out.nc"
    assert command.main(["convert", str(path), str(out)]) == 0 and faults(out) == []
    with netCDF4.Dataset(out) as file, vexfile.open(path) as data:
        assert file["orbit_number"].dtype == np.int32 and file["quality_flag_1"].dtype == np.int32
        spectrum = file["radiance" if "radiance" in file.variables else "brightness_temperature"]
        assert spectrum.ancillary_variables == "quality_flag_1 quality_flag_2 quality_flag_3"
        assert file.input_sha256 == f"{hashlib.sha256(path.read_bytes()).hexdigest()}  {path}" and str(path) in file.history
        assert file.geospatial_lat_max == pytest.approx(float(data.latitude.max()))
        assert file.time_coverage_end == str(data.time.max().values)[:23] + "Z"
        for name, variable in data.variables.items():
            if "valid_range" in variable.attrs:
                low, high = variable.attrs["valid_range"]
                assert not ((variable.values < low) | (variable.values > high)).any(), name


@pytest.mark.parametrize("suffix", STATISTICS)
def test_netcdf_of_statistics(runs: Runs, tmp_path: Path, suffix: str) -> None:
    path = runs.run("old", "-c 1-5 -t2 ozo,clp -histavg 0-1,5 -boxstat 18-36 -histpix 0-1,5", "txtstat")
    out = tmp_path / "out.nc"
    assert command.main(["convert", f"{path}{suffix}", str(out)]) == 0 and faults(out) == []
    with netCDF4.Dataset(out) as file:
        assert {"area: time: sum"} <= {one.__dict__.get("cell_methods") for one in file.variables.values()}


def test_netcdf_of_xarray(runs: Runs, tmp_path: Path) -> None:
    """What xarray writes has coordinates, types and fill values by the same rules, and all values come back."""
    path = tmp_path / "out.nc"
    with vexfile.open(runs.run("change", RUNS[0])) as data:
        data.to_netcdf(path)
        whole = data.load()
    assert {fault for fault in faults(path) if not fault.startswith("2.6: no")} == set()
    with xarray.open_dataset(path) as back:
        assert set(back.coords) == set(whole.coords)
        for name in whole.variables:
            assert np.array_equal(back[name].values, whole[name].values, equal_nan=whole[name].dtype.kind in "fM")
