"""Wavenumbers of channels, and Planck's function with the constants of vex."""

from __future__ import annotations

import numpy as np
import numpy.typing as npt

Reals = npt.NDArray[np.float64]

C1 = 1.1910659e-10  # 2hc2, for radiances in W m-2 sr-1 m and wavenumbers in cm-1
C2 = 1.438833  # hc/k, cm K
SPACING = 0.25  # cm-1, of neighbouring channels


def wavenumber(channel: npt.ArrayLike) -> Reals:
    """Wavenumbers in cm-1 of channels, which are numbered from 1."""
    return 644.75 + SPACING * np.asarray(channel, np.float64)


def radiance(wave: npt.ArrayLike, temperature: npt.ArrayLike) -> Reals:
    """The Planck function, W m-2 sr-1 m, at wavenumbers (cm-1) and temperatures (K). NaN at 0 K and below."""
    wave, temperature = np.asarray(wave, np.float64), np.asarray(temperature, np.float64)
    warm = np.where(temperature > 0, temperature, np.nan)
    return np.asarray(C1 * wave**3 / np.expm1(C2 * wave / warm))


def slope(wave: npt.ArrayLike, temperature: npt.ArrayLike) -> Reals:
    """The slope of the Planck function, W m-2 sr-1 m K-1. NaN at 0 K and below."""
    wave, temperature = np.asarray(wave, np.float64), np.asarray(temperature, np.float64)
    warm = np.where(temperature > 0, temperature, np.nan)
    power = np.exp(C2 * wave / warm)
    return np.asarray(C1 * wave**3 * C2 * wave * power / (warm * warm) / ((power - 1) * (power - 1)))


def brightness_temperature(wave: npt.ArrayLike, radiances: npt.ArrayLike) -> Reals:
    """The inverse of the Planck function, K; 0 where the radiance is not above 0."""
    wave, radiances = np.asarray(wave, np.float64), np.asarray(radiances, np.float64)
    bright = np.where(radiances > 0, radiances, np.inf)
    return np.where(radiances > 0, C2 * wave / np.log(C1 * wave**3 / bright + 1), 0)
