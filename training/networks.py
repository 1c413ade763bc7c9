"""The three networks: one detector of hands with seven key points, and one embedder used twice."""

import numpy as np
import torch
import torch.nn as nn
import torch.nn.functional as F

SIDE = 128
STRIDES = (8, 16, 32)
KEY_POINTS = 7
ROW = 32
EMBEDDING = 512


def conv(inputs, outputs, kernel=3, stride=1):
    return nn.Sequential(
        nn.Conv2d(inputs, outputs, kernel, stride, kernel // 2, bias=False),
        nn.BatchNorm2d(outputs), nn.ReLU(inplace=True))


class Residual(nn.Module):
    def __init__(self, width):
        super().__init__()
        self.first = conv(width, width)
        self.second = nn.Sequential(
            nn.Conv2d(width, width, 3, 1, 1, bias=False), nn.BatchNorm2d(width))

    def forward(self, x):
        return F.relu(x + self.second(self.first(x)))


class PoseNet(nn.Module):
    """A grey frame, 0..255, to one row of ROW numbers an anchor: score 0..100, then x and y of each
    key point in pixels of the frame, then zeros."""

    WIDTHS = (16, 24, 48, 64, 96)
    NECK = 48

    def __init__(self):
        super().__init__()
        a, b, c, d, e = self.WIDTHS
        self.stem = nn.Sequential(conv(1, a, stride=2), conv(a, b, stride=2), Residual(b))
        self.eighth = nn.Sequential(conv(b, c, stride=2), Residual(c), Residual(c))
        self.sixteenth = nn.Sequential(conv(c, d, stride=2), Residual(d), Residual(d))
        self.thirtysecond = nn.Sequential(conv(d, e, stride=2), Residual(e))
        self.lateral = nn.ModuleList(nn.Conv2d(width, self.NECK, 1) for width in (c, d, e))
        self.heads = nn.ModuleList(
            nn.Sequential(conv(self.NECK, self.NECK), conv(self.NECK, self.NECK),
                          nn.Conv2d(self.NECK, ROW, 1)) for _ in STRIDES)
        for i, stride in enumerate(STRIDES):
            self.register_buffer(f"anchors{i}", anchor_rows(stride), persistent=False)
            nn.init.constant_(self.heads[i][-1].bias, 0.0)
            self.heads[i][-1].bias.data[0] = -4.0

    def features(self, x):
        x = x * (1.0 / 64.0) - 1.5
        fine = self.eighth(self.stem(x))
        middle = self.sixteenth(fine)
        coarse = self.thirtysecond(middle)
        coarse_neck = self.lateral[2](coarse)
        middle_neck = self.lateral[1](middle) + F.interpolate(coarse_neck, scale_factor=2.0)
        fine_neck = self.lateral[0](fine) + F.interpolate(middle_neck, scale_factor=2.0)
        return fine_neck, middle_neck, coarse_neck

    def forward(self, x):
        """Logits (batch, anchors) and key points in pixels (batch, anchors, 14), for training."""
        logits, points = [], []
        for i, neck in enumerate(self.features(x)):
            raw = last_layer(self.heads[i], neck).flatten(2)
            logits.append(raw[:, 0])
            reach = 2.0 * STRIDES[i]
            anchors = getattr(self, f"anchors{i}")[:, 1:15]
            points.append((raw[:, 1:15] * reach + anchors).transpose(1, 2))
        return torch.cat(logits, 1), torch.cat(points, 1)


def last_layer(head, neck):
    """Key points need more digits than a half-precision training pass keeps."""
    hidden = head[1](head[0](neck))
    with torch.autocast(hidden.device.type, enabled=False):
        return head[2](hidden.float())


class PoseExport(nn.Module):
    """The same network with its rows laid out for the decoder."""

    def __init__(self, net):
        super().__init__()
        self.net = net
        self.last = nn.ModuleList(
            scaled_rows(head[-1], stride) for head, stride in zip(net.heads, STRIDES))

    def forward(self, x):
        rows = []
        for i, neck in enumerate(self.net.features(x)):
            head = self.net.heads[i]
            raw = self.last[i](head[1](head[0](neck)))
            side = SIDE // STRIDES[i]
            anchors = getattr(self.net, f"anchors{i}").view(1, ROW, side, side)[:, 1:]
            score = torch.sigmoid(raw[:, 0:1]) * 100.0
            level = torch.cat([score, raw[:, 1:] + anchors], 1)
            rows.append(level.reshape(1, ROW, side * side))
        return torch.cat(rows, 2).permute(0, 2, 1)


def scaled_rows(layer, stride):
    """A head's last layer with key points in pixels and nothing behind them."""
    unit = torch.zeros(ROW)
    unit[0] = 1.0
    unit[1:15] = 2.0 * stride
    scaled = nn.Conv2d(layer.in_channels, ROW, 1)
    scaled.weight.data = layer.weight.data * unit.view(-1, 1, 1, 1)
    scaled.bias.data = layer.bias.data * unit
    return scaled


def anchor_rows(stride):
    """Rows (1, ROW, cells): the centre of a cell under each key point's x and y."""
    side = SIDE // stride
    centres = (torch.arange(side) + 0.5) * stride
    y, x = torch.meshgrid(centres, centres, indexing="ij")
    rows = torch.zeros(1, ROW, side * side)
    rows[0, 1:15:2] = x.reshape(-1)
    rows[0, 2:15:2] = y.reshape(-1)
    return rows


def anchor_centres():
    """Centre x, y and stride of all anchors, in the order of the rows."""
    parts = []
    for stride in STRIDES:
        rows = anchor_rows(stride)[0]
        parts.append(torch.stack([rows[1], rows[2], torch.full_like(rows[1], float(stride))], 1))
    return torch.cat(parts)


class PalmNet(nn.Module):
    """A palm image, luma 16..235, to an embedding of unit length."""

    WIDTHS = (16, 32, 64, 96, 128)

    def __init__(self):
        super().__init__()
        a, b, c, d, e = self.WIDTHS
        self.body = nn.Sequential(
            conv(1, a, stride=2), conv(a, b, stride=2), Residual(b),
            conv(b, c, stride=2), Residual(c), conv(c, d, stride=2), Residual(d),
            conv(d, e, stride=2),
            nn.Conv2d(e, EMBEDDING // 16, 1, bias=False))
        self.norm = nn.BatchNorm1d(EMBEDDING, affine=False)

    def raw(self, x):
        return self.norm(self.body(x * (1.0 / 64.0) - 1.6).flatten(1))

    def forward(self, x):
        return F.normalize(self.raw(x).float())


class PalmExport(nn.Module):
    """The embedder in bytes: four deviations of a unit vector's element fill the range."""

    GAIN = 127.0 / 4.0 * EMBEDDING ** 0.5

    def __init__(self, net):
        super().__init__()
        self.net = net
        spread = torch.sqrt(net.norm.running_var + net.norm.eps)
        self.register_buffer("slope", (1.0 / spread).view(1, -1))
        self.register_buffer("shift", (-net.norm.running_mean / spread).view(1, -1))

    def forward(self, x):
        flat = self.net.body(x * (1.0 / 64.0) - 1.6).flatten(1)
        return F.normalize(flat * self.slope + self.shift) * self.GAIN


def save_weights(net, path):
    arrays = {name: tensor.detach().cpu().numpy() for name, tensor in net.state_dict().items()}
    np.savez(path, **arrays)


def load_weights(net, path):
    stored = np.load(path)
    net.load_state_dict({name: torch.from_numpy(stored[name]) for name in stored.files})
    return net
