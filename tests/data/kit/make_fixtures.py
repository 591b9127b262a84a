#!/usr/bin/env python3
"""Writes the named kit fixtures of this directory (run it here to remake them).

Each broken kit differs from good_counted.efd in the one respect its name says.
"""
import struct
import zlib


def u32(v):
    return struct.pack('<I', v)


def s(text):
    data = text.encode('utf-16-le', 'surrogatepass')
    return u32(len(data) // 2) + data


def desc(lang, product, vendor, file):
    body = s(lang) + s(product) + s(vendor) + s(file)
    return u32(len(body) + 4) + body


def entry(name, time, offset, size):
    body = s(name) + struct.pack('<QII', time, offset, size)
    return u32(len(body) + 4) + body


def deflate(data, level=6):
    c = zlib.compressobj(level, zlib.DEFLATED, -15)
    return c.compress(data) + c.flush()


T0 = 133000000000000000  # 2022-06-15 UTC, in 100-ns units since 1601


def counted(first_name='Docs\\readme.htm', first_size=5, desc_file='Docs\\readme.htm', entry_size=None):
    table = u32(1) + u32(2) + desc('en', 'Product', 'Vendor', desc_file) + desc('ru', 'Продукт', 'Поставщик', '')
    table += u32(2) + entry(first_name, T0, 0, first_size) + entry('conf\\main.cfg', T0 + 10000000, 5, 6)
    return table + b'helloworld!'


def legacy():
    return u32(0) + s('Legacy Product') + s('Old Vendor') + s('readme.txt') + u32(1) + entry('a.txt', T0, 0, 3) + b'abc'


good = counted()
fixtures = {
    'good_counted.efd': deflate(good),
    'good_legacy.efd': deflate(legacy()),
    'empty.efd': b'',
    'corrupt_stream.efd': b'\x07\x00\x00\x00garbage',
    'truncated_table.efd': deflate(good, 0)[:60],
    'name_empty.efd': deflate(counted(first_name='')),
    'name_parent_component.efd': deflate(counted(first_name='..\\..\\.profile')),
    'name_shell_dollar.efd': deflate(counted(first_name='$(reboot)')),
    'name_control_character.efd': deflate(counted(first_name='a\nb')),
    'description_file_parent_component.efd': deflate(counted(desc_file='..\\x.htm')),
    'entry_data_past_end.efd': deflate(counted(first_size=50)),
    'record_size_below_4.efd': deflate(good[:8] + u32(3) + good[12:]),
    'record_size_hostile.efd': deflate(good[:8] + u32(0xFFFFFFF0) + good[12:]),
    'string_past_record.efd': deflate(good[:12] + u32(500) + good[16:]),
    'name_lone_surrogate.efd': deflate(counted(first_name='Docs\\read\ud800.htm')),
    'name_separator_only.efd': deflate(counted(first_name='\\')),
    'name_trailing_separator.efd': deflate(counted(first_name='Templates\\')),
    'name_duplicate.efd': deflate(counted(first_name='conf/main.cfg')),
    'name_file_is_folder.efd': deflate(counted(first_name='conf')),
    'description_record_bomb.efd': deflate(u32(1) + u32(4097) + desc('', '', '', '') * 4097 + u32(0)),
}
for name, data in fixtures.items():
    with open(name, 'wb') as f:
        f.write(data)
