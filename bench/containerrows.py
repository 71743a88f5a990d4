"""The rows of the table of containers: what is packed, how, and by which command.

Each command runs in a directory of its own with `in/a-filler.bin` and `in/folder/eicar.com`, and makes the file that
the row names. `make KIND FILE RESULT` is `bench/handmade.py`.
"""

import textwrap

SPEC = textwrap.dedent("""\
    Name: x
    Version: 1
    Release: 1
    Summary: x
    License: none
    BuildArch: noarch
    %description
    x
    %install
    mkdir -p %{buildroot}/usr/share/x
    cp $OLDPWD/in/a-filler.bin $OLDPWD/in/folder/eicar.com %{buildroot}/usr/share/x/
    %files
    /usr/share/x
    """)

MSI = textwrap.dedent("""\
    <?xml version="1.0" encoding="utf-8"?>
    <Wix xmlns="http://schemas.microsoft.com/wix/2006/wi"><Product Name="x" Id="*" Manufacturer="x" Language="1033"
    Version="1.0.0" UpgradeCode="A8D2E5C6-0000-4000-8000-000000000001"><Package Compressed="yes"/>
    <Media Id="1" Cabinet="x.cab" EmbedCab="yes"/><Directory Id="TARGETDIR" Name="SourceDir"><Component Id="c"
    Guid="A8D2E5C6-0000-4000-8000-000000000002"><File Id="f" Source="in/folder/eicar.com"/></Component></Directory>
    <Feature Id="a" Level="1"><ComponentRef Id="c"/></Feature></Product></Wix>
    """)

TAR = "tar -C in -cf x.tar . && "
DEB = ("mkdir -p p/DEBIAN p/usr/share/x && cp in/a-filler.bin in/folder/eicar.com p/usr/share/x && "
       "printf 'Package: x\\nVersion: 1\\nArchitecture: all\\nMaintainer: x <x@example.org>\\nDescription: x\\n' "
       "> p/DEBIAN/control && dpkg-deb --root-owner-group -Z{} -b p x.deb")
RPM = ("printf %s \"$SPEC\" > x.spec && OLDPWD=$PWD rpmbuild -bb --define \"_topdir $PWD/r\" --define \"OLDPWD $PWD\" "
       "--define '_binary_payload {}' x.spec && cp r/RPMS/noarch/*.rpm x.rpm")
SEVEN = "cd in && 7z a -m0={} ../x.7z ."
ZIP = "cd in && 7z a -tzip -mm={} ../x.zip ."
SCRIPT = "printf '#!/bin/sh\\ntail -n +4 $0 | tar x\\nexit\\n' > start && "
SQUASHFS = "mksquashfs in x.squashfs -comp {} -no-progress"


def zipped(file, extra=""):
    """A document that is a zip."""
    return f"cd in && {extra} zip -r ../{file} ."


FOUND = [
    # group, what, file, command
    ("Packages", "deb, gzip", "x.deb", DEB.format("gzip")),
    ("Packages", "deb, xz", "x.deb", DEB.format("xz")),
    ("Packages", "deb, zstd", "x.deb", DEB.format("zstd")),
    ("Packages", "deb, not compressed", "x.deb", DEB.format("none")),
    ("Packages", "rpm, gzip", "x.rpm", RPM.format("w9.gzdio")),
    ("Packages", "rpm, bzip2", "x.rpm", RPM.format("w9.bzdio")),
    ("Packages", "rpm, xz", "x.rpm", RPM.format("w7.xzdio")),
    ("Packages", "rpm, lzma", "x.rpm", RPM.format("w7.lzdio")),
    ("Packages", "rpm, zstd", "x.rpm", RPM.format("w3.zstdio")),
    ("Packages", "package of tar and zstd (pkg.tar.zst)", "x.pkg.tar.zst", TAR + "zstd x.tar -o x.pkg.tar.zst"),
    ("Packages", "package of two gzip streams (apk)", "x.apk",
     "tar -C in -cf - a-filler.bin | gzip > x.apk && tar -C in -cf - folder | gzip >> x.apk"),
    ("Packages", "gem (tar of tar.gz)", "x.gem",
     "tar -C in -czf data.tar.gz . && tar -cf x.gem data.tar.gz"),
    ("Packages", "wheel", "x.whl", zipped("x.whl")),
    ("Packages", "conda (zip of tar.zst)", "x.conda",
     TAR + "zstd x.tar -o pkg.tar.zst && zip -0 x.conda pkg.tar.zst"),
    ("Packages", "browser extension (crx)", "x.crx", zipped("x.zip") + " && cd .. && make crx x.zip x.crx"),
    ("Packages", "msi", "x.msi", "printf %s \"$MSI\" > x.wxs && wixl -o x.msi x.wxs"),
    ("Packages", "snap (squashfs, xz)", "x.snap", "mksquashfs in x.snap -comp xz -no-progress"),
    ("Packages", "AppImage (program, squashfs)", "x.AppImage",
     "mksquashfs in x.squashfs -comp gzip -no-progress && cat /bin/true x.squashfs > x.AppImage"),
    ("Images", "squashfs, gzip", "x.squashfs", SQUASHFS.format("gzip")),
    ("Images", "squashfs, lzma", "x.squashfs", SQUASHFS.format("lzma")),
    ("Images", "squashfs, lz4", "x.squashfs", SQUASHFS.format("lz4")),
    ("Images", "squashfs, zstd", "x.squashfs", SQUASHFS.format("zstd")),
    ("Images", "ISO 9660, Rock Ridge and Joliet", "x.iso", "genisoimage -quiet -r -J -o x.iso in"),
    ("Images", "UDF", "x.udf", "genisoimage -quiet -udf -o x.udf in"),
    ("Images", "initial RAM disk (cpio, gzip)", "x.img", "cd in && find . | cpio -o -H newc | gzip > ../x.img"),
    ("Images", "initial RAM disk (cpio, zstd)", "x.img", "cd in && find . | cpio -o -H newc | zstd > ../x.img"),
    ("Images", "initial RAM disk behind another one", "x.img",
     "cd in && echo a-filler.bin | cpio -o -H newc > ../x.img && find . | cpio -o -H newc | zstd >> ../x.img"),
    ("Archives", "tar, ustar", "x.tar", "tar -C in -H ustar -cf x.tar ."),
    ("Archives", "tar, GNU", "x.tar", "tar -C in -H gnu -cf x.tar ."),
    ("Archives", "tar, pax", "x.tar", "tar -C in -H pax -cf x.tar ."),
    ("Archives", "tar.gz", "x.tar.gz", TAR + "gzip x.tar"),
    ("Archives", "tar.bz2", "x.tar.bz2", TAR + "bzip2 x.tar"),
    ("Archives", "tar.bz2 of several streams", "x.tar.bz2",
     TAR + "split -b 10k x.tar p. && for p in p.*; do bzip2 -c $p; done > x.tar.bz2"),
    ("Archives", "tar.xz", "x.tar.xz", TAR + "xz x.tar"),
    ("Archives", "tar.xz of several streams", "x.tar.xz",
     TAR + "split -b 10k x.tar p. && for p in p.*; do xz -c $p; done > x.tar.xz"),
    ("Archives", "tar.lzma", "x.tar.lzma", TAR + "xz --format=lzma x.tar"),
    ("Archives", "tar.lz", "x.tar.lz", TAR + "lzip x.tar"),
    ("Archives", "tar.lz4", "x.tar.lz4", TAR + "lz4 x.tar x.tar.lz4"),
    ("Archives", "tar.lz4, the old frame", "x.tar.lz4", TAR + "lz4 -l x.tar x.tar.lz4"),
    ("Archives", "tar.Z", "x.tar.Z", TAR + "compress -f x.tar"),
    ("Archives", "tar.zst of several frames", "x.tar.zst",
     TAR + "split -b 10k x.tar p. && for p in p.*; do zstd -c $p; done > x.tar.zst"),
    ("Archives", "cpio, newc", "x.cpio", "cd in && find . | cpio -o -H newc > ../x.cpio"),
    ("Archives", "cpio, odc", "x.cpio", "cd in && find . | cpio -o -H odc > ../x.cpio"),
    ("Archives", "cpio, crc", "x.cpio", "cd in && find . | cpio -o -H crc > ../x.cpio"),
    ("Archives", "ar", "x.ar", "ar r x.ar in/a-filler.bin in/folder/eicar.com"),
    ("Archives", "cab", "x.cab", "gcab -c -z x.cab in/a-filler.bin in/folder/eicar.com"),
    ("Archives", "arj", "x.arj", "cd in && arj a -r ../x.arj"),
    ("Archives", "lha, stored (by hand)", "x.lzh", "make lha in/folder/eicar.com x.lzh"),
    ("Archives", "xar", "x.xar", "bsdtar -C in --format=xar -cf x.xar ."),
    ("Archives", "warc", "x.warc", "bsdtar -C in --format=warc -cf x.warc ."),
    ("Archives", "warc.gz", "x.warc.gz", "bsdtar -C in --format=warc -czf x.warc.gz ."),
    ("Archives", "RAR 4, stored (by hand)", "x.rar", "make rar4 in/folder/eicar.com x.rar"),
    ("Archives", "RAR 5, stored (by hand)", "x.rar", "make rar5 in/folder/eicar.com x.rar"),
    ("Archives", "zip, stored", "x.zip", ZIP.format("copy")),
    ("Archives", "zip, Deflate", "x.zip", ZIP.format("deflate")),
    ("Archives", "zip, Deflate64", "x.zip", ZIP.format("deflate64")),
    ("Archives", "zip, BZip2", "x.zip", ZIP.format("bzip2")),
    ("Archives", "zip, LZMA", "x.zip", ZIP.format("lzma")),
    ("Archives", "zip, PPMd", "x.zip", ZIP.format("ppmd")),
    ("Archives", "zip with sizes of 64 bits", "x.zip", "cd in && zip -fz -r ../x.zip ."),
    ("Archives", "zip from a stream", "x.zip", "cat in/folder/eicar.com | zip x.zip -"),
    ("Archives", "zip behind a program", "x.bin", ZIP.format("deflate") + " && cd .. && cat /bin/true x.zip > x.bin"),
    ("Archives", "7z, LZMA", "x.7z", SEVEN.format("lzma")),
    ("Archives", "7z, LZMA2", "x.7z", SEVEN.format("lzma2")),
    ("Archives", "7z, PPMd", "x.7z", SEVEN.format("ppmd")),
    ("Archives", "7z, BZip2", "x.7z", SEVEN.format("bzip2")),
    ("Archives", "7z, Deflate", "x.7z", SEVEN.format("deflate")),
    ("Archives", "7z, stored", "x.7z", SEVEN.format("copy")),
    ("Archives", "7z behind a program", "x.bin", SEVEN.format("lzma") + " && cd .. && cat /bin/true x.7z > x.bin"),
    ("Archives", "tar.xz behind a program", "x.bin", TAR + "xz x.tar && cat /bin/true x.tar.xz > x.bin"),
    ("Archives", "tar behind a script", "x.run", TAR + SCRIPT + "cat start x.tar > x.run"),
    ("Archives", "tar.gz behind a script", "x.run", TAR + SCRIPT + "gzip -c x.tar | cat start - > x.run"),
    ("Archives", "tar.bz2 behind a script", "x.run", TAR + SCRIPT + "bzip2 -c x.tar | cat start - > x.run"),
    ("Archives", "tar.xz behind a script", "x.run", TAR + SCRIPT + "xz -c x.tar | cat start - > x.run"),
    ("Archives", "tar.zst behind a script", "x.run", TAR + SCRIPT + "zstd -c x.tar | cat start - > x.run"),
    ("Archives", "RAR 5 behind a picture", "x.jpg",
     "make rar5 in/folder/eicar.com x.rar && convert xc:red x.jpg && cat x.rar >> x.jpg"),
    ("Archives", "7z, BZip2, behind a picture", "x.png",
     SEVEN.format("bzip2") + " && cd .. && convert xc:red x.png && cat x.7z >> x.png"),
    ("Archives", "zip, PPMd, behind a picture", "x.png",
     ZIP.format("ppmd") + " && cd .. && convert xc:red x.png && cat x.zip >> x.png"),
    ("Single files", "gzip", "x.gz", "gzip -c in/folder/eicar.com > x.gz"),
    ("Single files", "bzip2", "x.bz2", "bzip2 -c in/folder/eicar.com > x.bz2"),
    ("Single files", "xz", "x.xz", "xz -c in/folder/eicar.com > x.xz"),
    ("Single files", "lzma", "x.lzma", "xz --format=lzma -c in/folder/eicar.com > x.lzma"),
    ("Single files", "zstd", "x.zst", "zstd in/folder/eicar.com -o x.zst"),
    ("Single files", "lz4", "x.lz4", "lz4 in/folder/eicar.com x.lz4"),
    ("Single files", "lzip", "x.lz", "lzip -c in/folder/eicar.com > x.lz"),
    ("Single files", "compress", "x.Z", "compress -fc in/folder/eicar.com > x.Z"),
    ("Documents", "docx (zip)", "x.docx",
     zipped("x.docx", "mkdir -p word _rels && echo '<x/>' > '[Content_Types].xml' && echo '<x/>' > word/document.xml &&")),
    ("Documents", "odt (zip)", "x.odt",
     "cd in && printf application/vnd.oasis.opendocument.text > mimetype && zip -0 ../x.odt mimetype && "
     "zip -r ../x.odt ."),
    ("Documents", "epub (zip)", "x.epub",
     "cd in && printf application/epub+zip > mimetype && zip -0 ../x.epub mimetype && zip -r ../x.epub ."),
    ("Documents", "PDF with an attachment", "x.pdf", "qpdf --empty --add-attachment in/folder/eicar.com -- x.pdf"),
    ("Mail", "attachment, base64", "x.eml", "make mail in/folder/eicar.com x.eml"),
    ("Mail", "attachment, quoted-printable", "x.eml", "make mail_quoted in/folder/eicar.com x.eml"),
    ("Mail", "uuencoded", "x.eml", "make uuencoded in/folder/eicar.com x.eml"),
    ("Mail", "mail in a mail", "x.eml", "make mail_in_mail in/folder/eicar.com x.eml"),
    ("Mail", "mbox", "x.mbox", "make mbox in/folder/eicar.com x.mbox"),
    ("Mail", "winmail.dat (by hand)", "x.dat", "make tnef in/folder/eicar.com x.dat"),
    ("Nested", "7z, BZip2, in a mail", "x.eml", SEVEN.format("bzip2") + " && cd .. && make mail x.7z x.eml"),
    ("Nested", "RAR 5 in a mail in a mail", "x.eml",
     "make rar5 in/folder/eicar.com x.rar && make mail_in_mail x.rar x.eml"),
    ("Nested", "deb in a zip", "x.zip", DEB.format("zstd") + " && zip x.zip x.deb"),
    ("Nested", "tar.zst in a 7z", "x.7z", TAR + "zstd x.tar && 7z a x.7z x.tar.zst"),
    ("Nested", "rpm in an ISO", "x.iso", RPM.format("w3.zstdio") + " && genisoimage -quiet -r -o x.iso x.rpm"),
    ("Nested", "zip, LZMA, in a tar.lz4", "x.tar.lz4",
     ZIP.format("lzma") + " && cd .. && tar -cf x.tar x.zip && lz4 x.tar x.tar.lz4"),
    ("Nested", "squashfs in a deb in a tar.xz", "x.tar.xz",
     "mksquashfs in s -comp lz4 -no-progress && mv s in/folder/eicar.com && " + DEB.format("xz") +
     " && tar -cJf x.tar.xz x.deb"),
    ("Nested", "zst in zst in zst", "x.zst",
     "zstd -c in/folder/eicar.com | zstd | zstd > x.zst"),
    ("Nested", "PDF, attachment: 7z, BZip2", "x.pdf",
     SEVEN.format("bzip2") + " && cd .. && qpdf --empty --add-attachment x.7z -- x.pdf"),
]

TOLD = [
    ("Nobody opens it", "lzop", "x.lzo", "lzop -o x.lzo in/folder/eicar.com"),
    ("Nobody opens it", "tar.lzo", "x.tar.lzo", TAR + "lzop x.tar"),
    ("Nobody opens it", "squashfs, lzo", "x.squashfs", SQUASHFS.format("lzo")),
    ("Nobody opens it", "7z, Deflate64", "x.7z", SEVEN.format("deflate64")),
    ("Nobody opens it", "wim", "x.wim", "wimcapture in x.wim"),
    ("Nobody opens it", "lrzip", "x.lrz", "lrzip -q -o x.lrz in/a-filler.bin"),
    ("Nobody opens it", "zpaq", "x.zpaq", "cd in && zpaq a ../x.zpaq ."),
    ("Nobody opens it", "disk image qcow2", "x.qcow2",
     "truncate -s 1M d && mkfs.fat d && mcopy -i d in/folder/eicar.com :: && qemu-img convert -O qcow2 d x.qcow2"),
    ("Nobody opens it", "disk image vmdk", "x.vmdk",
     "truncate -s 1M d && mkfs.fat d && mcopy -i d in/folder/eicar.com :: && qemu-img convert -O vmdk d x.vmdk"),
    ("Nobody opens it", "FAT image", "x.img",
     "truncate -s 1M x.img && mkfs.fat x.img && mcopy -i x.img in/folder/eicar.com ::"),
    ("Nobody opens it", "ext4 image", "x.img", "truncate -s 4M x.img && mkfs.ext4 -q -d in x.img"),
    ("Nobody opens it", "disk with a partition of FAT", "x.img",
     "truncate -s 1M d && mkfs.fat d && mcopy -i d in/folder/eicar.com :: && truncate -s 1M x.img && cat d >> x.img && "
     "echo '2048,,c' | sfdisk -q x.img"),
    ("Encrypted", "zip", "x.zip", "cd in && zip -P secret -r ../x.zip ."),
    ("Encrypted", "zip, AES", "x.zip", "cd in && 7z a -tzip -mem=AES256 -psecret ../x.zip ."),
    ("Encrypted", "7z", "x.7z", "cd in && 7z a -psecret ../x.7z ."),
    ("Encrypted", "7z, with its names", "x.7z", "cd in && 7z a -psecret -mhe=on ../x.7z ."),
    ("Encrypted", "RAR 4 (by hand)", "x.rar", "make rar4_locked in/folder/eicar.com x.rar"),
    ("Encrypted", "RAR 5 (by hand)", "x.rar", "make rar5_locked in/folder/eicar.com x.rar"),
    ("Beyond a limit", "member of 5 GB in a zip", "x.zip", "truncate -s 5G in/big && cd in && zip -1 ../x.zip big"),
    ("Beyond a limit", "stream of 5 GB, zstd", "x.zst", "truncate -s 5G big && zstd -q big -o x.zst && rm big"),
    ("Beyond a limit", "20 levels of lz4", "x.lz4",
     "cp in/folder/eicar.com x.lz4 && for i in $(seq 20); do gzip -c x.lz4 | lz4 > y && mv y x.lz4; done"),
    ("Beyond a limit", "120,000 members in an ar", "x.ar", "make many_ar in/folder/eicar.com x.ar"),
]
