"""What is said of the variables is what the conventions of the field ask for."""

from __future__ import annotations

import subprocess
from pathlib import Path

import numpy as np
import pytest
from conftest import Runs

import vexfile

#: Standard names of the CF table, version 79, and their canonical units.
STANDARD_NAMES = {
    "air_pressure": "Pa", "air_pressure_at_cloud_top": "Pa", "air_temperature": "K", "air_temperature_at_cloud_top": "K",
    "atmosphere_mass_content_of_carbon_dioxide": "kg m-2", "atmosphere_mass_content_of_carbon_monoxide": "kg m-2",
    "atmosphere_mass_content_of_methane": "kg m-2", "atmosphere_mass_content_of_nitrous_oxide": "kg m-2",
    "cloud_area_fraction": "1", "humidity_mixing_ratio": "1", "land_binary_mask": "1", "latitude": "degree_north",
    "longitude": "degree_east", "radiation_frequency": "s-1", "sensor_azimuth_angle": "degree",
    "sensor_band_central_radiation_wavenumber": "m-1", "sensor_zenith_angle": "degree", "solar_azimuth_angle": "degree",
    "solar_zenith_angle": "degree", "surface_air_pressure": "Pa", "surface_longwave_emissivity": "1",
    "surface_temperature": "K", "toa_brightness_temperature": "K", "toa_outgoing_radiance_per_unit_wavenumber": "W m-2 sr-1 m"}

RUNS = ["-c 1-5 -avhrr 1 -t2 ozo,trg,clp,twt,ems", "-c 1-5 -tb 1"]


@pytest.mark.parametrize("options", RUNS)
def test_attributes(runs: Runs, options: str) -> None:
    """Standard names are those of the table in units that convert; ranges and flags are of the type of the file."""
    with vexfile.open(runs.run("old", options)) as data:
        seen = set()
        for name, variable in data.variables.items():
            said = variable.attrs
            assert said["long_name"] and name == name.lower()
            assert {"units", "flag_values"} & said.keys() or variable.dtype.kind in "iM" or "count" in str(name) or (
                variable.encoding["dtype"].kind == "i"), name
            if "standard_name" in said and said["standard_name"] != "time":
                seen.add(said["standard_name"])
                converted = subprocess.run(["udunits2", "-H", said["units"], "-W", STANDARD_NAMES[said["standard_name"]]],
                                           capture_output=True, text=True)
                assert converted.returncode == 0 and "1 " in converted.stdout, (name, said["units"], converted.stderr)
            if "flag_values" in said:
                assert len(said["flag_values"]) == len(said["flag_meanings"].split())
            for one in {"valid_range", "flag_values"} & said.keys():
                assert said[one].dtype == variable.encoding["dtype"], name
            if "valid_range" in said:
                low, high = said["valid_range"]
                outside = (variable.values < low) | (variable.values > high)
                assert not outside.any(), (name, variable.values[outside][:3])
        assert len(seen) > (20 if "-t2" in options else 9)


def test_netcdf_of_xarray(runs: Runs, tmp_path: Path) -> None:
    """Types and fill values of the file are those that NetCDF gets, and all values come back."""
    path = tmp_path / "out.nc"
    with vexfile.open(runs.run("change", RUNS[0])) as data:
        data.to_netcdf(path)
        whole = data.load()
    import netCDF4
    import xarray
    with netCDF4.Dataset(path) as file:
        assert file["orbit_number"].dtype == np.int32 and file["orbit_number"]._FillValue == -1
        assert file["radiance"].dtype == np.float32 and file["l2_land_sea_qualifier"].dtype == np.int16
    with xarray.open_dataset(path) as back:
        for name in whole.variables:
            assert np.array_equal(back[name].values, whole[name].values, equal_nan=whole[name].dtype.kind in "fM")
