"""Kernels by their names. A convolution turns a kernel round; smoothing kernels leave flat areas flat."""

from ._native import Kernel


def gaussian(size, sigma):
    """Bell-shaped, size x size; sigma in pixels."""
    return Kernel.parse(f"gaussian:{size}:{sigma}")


def box(size):
    """The mean of size x size pixels."""
    return Kernel.parse(f"box:{size}")


def sharpen():
    return Kernel.parse("sharpen")


def laplace():
    return Kernel.parse("laplace")


def sobel_x():
    return Kernel.parse("sobel-x")


def sobel_y():
    return Kernel.parse("sobel-y")
